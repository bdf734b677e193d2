#include "diagnostics.h"

#include <QDebug>
#include <QLoggingCategory>

#include <algorithm>
#include <cstring>

namespace {
void output(QtMsgType type, const QString &text)
{
    const QLoggingCategory &category = *QLoggingCategory::defaultCategory();
    if (category.isEnabled(type))
        qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, category.categoryName()), text);
}
} // namespace

bool debugEnabled()
{
    return QLoggingCategory::defaultCategory()->isDebugEnabled();
}

void debugMessage(const QString &text)
{
    output(QtDebugMsg, text);
}

void warningMessage(const QString &text)
{
    output(QtWarningMsg, text);
}

namespace {
constexpr quint64 kLanes = 0x0001000100010001; // one in each of four 16-bit lanes
constexpr quint64 kLaneTops = 0x8000800080008000;

// Whether a lane of `w` holds a character that QDebug escapes: below 0x20, above 0x7e, a
// double quote or a backslash. Each test sets a lane's top bit where it holds; a carry
// between lanes can only follow a lane that holds already.
bool anyEscaped(quint64 w)
{
    const quint64 above = (w + kLanes * (0x7fff - 0x7e)) | w;
    const quint64 below = (w - kLanes * 0x20) & ~w;
    const quint64 quote = w ^ (kLanes * u'"');
    const quint64 backslash = w ^ (kLanes * u'\\');
    const quint64 isQuote = (quote - kLanes) & ~quote;
    const quint64 isBackslash = (backslash - kLanes) & ~backslash;
    return ((above | below | isQuote | isBackslash) & kLaneTops) != 0;
}

bool isPlain(const QString &text)
{
    const char16_t *chars = reinterpret_cast<const char16_t *>(text.constData());
    const qsizetype size = text.size();
    qsizetype i = 0;
    for (; i + 4 <= size; i += 4) {
        quint64 w;
        std::memcpy(&w, chars + i, sizeof w);
        if (anyEscaped(w))
            return false;
    }
    for (; i < size; ++i) {
        const char16_t c = chars[i];
        if (c < 0x20 || c > 0x7e || c == u'"' || c == u'\\')
            return false;
    }
    return true;
}
} // namespace

QString quotedText(const QString &text)
{
    if (!isPlain(text)) {
        // QDebug escapes character by character: only for the texts that need it.
        QString escaped;
        QDebug(&escaped).nospace() << text;
        return escaped;
    }
    const qsizetype size = text.size();
    QString quoted(size + 2, Qt::Uninitialized);
    QChar *out = quoted.data();
    out[0] = u'"';
    std::copy(text.constData(), text.constData() + size, out + 1);
    out[size + 1] = u'"';
    return quoted;
}

void appendDecimal(QString &out, qint64 value)
{
    char16_t digits[20];
    int first = 20;
    // Negated as unsigned: the lowest qint64 has no positive counterpart.
    quint64 magnitude = value < 0 ? 0 - quint64(value) : quint64(value);
    do {
        digits[--first] = char16_t(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0)
        out.append(u'-');
    out.append(reinterpret_cast<const QChar *>(digits + first), 20 - first);
}
