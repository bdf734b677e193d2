#include "oscpattern.h"

#include <QVarLengthArray>

namespace Osc {

namespace {

// The pattern as a nondeterministic automaton whose states are positions in the pattern;
// position `size` accepts.
enum class Step : quint8 {
    Literal,        // the character at this position
    AnyChar,        // '?'
    Star,           // '*': consumes and stays, or steps on without consuming
    Set,            // '[': `target` is the position after its ']'
    Alternatives,   // '{': steps on to each alternative's first position; `target` is its '}'
    AlternativeEnd, // a ',' or '}' closing an alternative: steps on to `target`, after the '}'
    Accept,
};

using States = QVarLengthArray<qint32, 64>;

class Automaton
{
public:
    explicit Automaton(QStringView pattern)
        : m_pattern(pattern),
          m_steps(pattern.size() + 1, Step::Literal),
          m_targets(pattern.size() + 1, 0),
          m_seen(pattern.size() + 1, -1)
    {
        m_valid = compile();
    }

    bool matches(QStringView address)
    {
        if (!m_valid)
            return false;
        States sets[2];
        add(sets[0], 0, 0);
        close(sets[0], 0);
        qint32 round = 0;
        for (const QChar c : address) {
            const States &current = sets[round % 2];
            States &next = sets[(round + 1) % 2];
            ++round;
            next.clear();
            for (const qint32 state : current)
                advance(next, state, c, round);
            close(next, round);
            if (next.isEmpty())
                return false;
        }
        return m_seen[m_pattern.size()] == round;
    }

private:
    bool compile()
    {
        const qsizetype size = m_pattern.size();
        for (qsizetype i = 0; i < size;) {
            const QChar c = m_pattern[i];
            if (c == QLatin1Char('*') || c == QLatin1Char('?')) {
                m_steps[i++] = c == QLatin1Char('*') ? Step::Star : Step::AnyChar;
            } else if (c == QLatin1Char('[')) {
                const qsizetype close = m_pattern.indexOf(QLatin1Char(']'), i + 1);
                if (close < 0)
                    return false;
                m_steps[i] = Step::Set;
                m_targets[i] = qint32(close + 1);
                i = close + 1;
            } else if (c == QLatin1Char('{')) {
                const qsizetype close = m_pattern.indexOf(QLatin1Char('}'), i + 1);
                if (close < 0 || m_pattern.sliced(i + 1, close - i - 1).contains(QLatin1Char('{')))
                    return false;
                m_steps[i] = Step::Alternatives;
                m_targets[i] = qint32(close);
                for (qsizetype k = i + 1; k <= close; ++k) {
                    const bool end = k == close || m_pattern[k] == QLatin1Char(',');
                    m_steps[k] = end ? Step::AlternativeEnd : Step::Literal;
                    m_targets[k] = qint32(close + 1);
                }
                i = close + 1;
            } else {
                m_steps[i++] = Step::Literal;
            }
        }
        m_steps[size] = Step::Accept;
        return true;
    }

    void add(States &states, qint32 state, qint32 round)
    {
        if (m_seen[state] == round)
            return;
        m_seen[state] = round;
        states.append(state);
    }

    // Adds the states reached without consuming a character; each state enters once.
    void close(States &states, qint32 round)
    {
        for (qsizetype i = 0; i < states.size(); ++i) {
            const qint32 state = states[i];
            switch (m_steps[state]) {
            case Step::Star: add(states, state + 1, round); break;
            case Step::AlternativeEnd: add(states, m_targets[state], round); break;
            case Step::Alternatives:
                add(states, state + 1, round);
                for (qint32 k = state + 1; k < m_targets[state]; ++k) {
                    if (m_steps[k] == Step::AlternativeEnd)
                        add(states, k + 1, round);
                }
                break;
            default: break;
            }
        }
    }

    void advance(States &next, qint32 state, QChar c, qint32 round)
    {
        const bool slash = c == QLatin1Char('/');
        switch (m_steps[state]) {
        case Step::Literal:
            if (m_pattern[state] == c)
                add(next, state + 1, round);
            break;
        case Step::AnyChar:
            if (!slash)
                add(next, state + 1, round);
            break;
        case Step::Star:
            if (!slash)
                add(next, state, round);
            break;
        case Step::Set:
            if (!slash && inSet(state, c))
                add(next, m_targets[state], round);
            break;
        default: break;
        }
    }

    // The set between the '[' at `state` and its ']'.
    bool inSet(qint32 state, QChar c) const
    {
        qsizetype i = state + 1;
        const qsizetype end = m_targets[state] - 1;
        const bool negated = i < end && m_pattern[i] == QLatin1Char('!');
        if (negated)
            ++i;
        bool found = false;
        for (; i < end && !found; ++i) {
            if (i + 2 < end && m_pattern[i + 1] == QLatin1Char('-')) {
                found = m_pattern[i] <= c && c <= m_pattern[i + 2];
                i += 2;
            } else {
                found = m_pattern[i] == c;
            }
        }
        return found != negated;
    }

    QStringView m_pattern;
    QVarLengthArray<Step, 64> m_steps;
    QVarLengthArray<qint32, 64> m_targets;
    QVarLengthArray<qint32, 64> m_seen; // the round in which each state last entered
    bool m_valid = false;
};

bool hasWildcards(QStringView pattern)
{
    for (const QChar c : pattern) {
        switch (c.unicode()) {
        case '*': case '?': case '[': case '{': return true;
        default: break;
        }
    }
    return false;
}

} // namespace

bool oscPatternMatches(QStringView pattern, QStringView address)
{
    if (!hasWildcards(pattern))
        return pattern == address;
    return Automaton(pattern).matches(address);
}

} // namespace Osc
