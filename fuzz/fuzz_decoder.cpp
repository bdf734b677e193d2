#include "fuzzcheck.h"
#include "oscdecoder.h"
#include "oscformat.h"
#include "oscmessage.h"
#include "oscpattern.h"

#include <QRegularExpression>

#include <lo/lo_lowlevel.h>

#include <cmath>
#include <cstdint>

namespace {

// The pattern rules restated as a regular expression, for a second opinion.
bool matchesAsRegex(const QString &pattern, const QString &address)
{
    const auto literal = [](QStringView text) {
        QString escaped;
        for (const QChar c : text)
            escaped += QStringLiteral("\\x{%1}").arg(c.unicode(), 0, 16);
        return escaped;
    };
    QString regex;
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern[i];
        const auto closing = pattern.indexOf(QLatin1Char(c == '[' ? ']' : '}'), i + 1);
        if (c == '*' || c == '?') {
            regex += c == '*' ? QStringLiteral("[^/]*") : QStringLiteral("[^/]");
        } else if (c == '[' || c == '{') {
            if (closing < 0 || (c == '{' && pattern.sliced(i + 1, closing - i - 1).contains('{')))
                return false;
            QString inner = pattern.sliced(i + 1, closing - i - 1);
            if (c == '{') {
                QStringList alternatives = inner.split(',');
                for (QString &alternative : alternatives)
                    alternative = literal(alternative);
                regex += "(?:" + alternatives.join('|') + ')';
            } else {
                const bool negated = inner.startsWith('!');
                QString set;
                for (qsizetype k = negated ? 1 : 0; k < inner.size(); ++k) {
                    const bool range = k + 2 < inner.size() && inner[k + 1] == '-';
                    const QChar last = range ? inner[k + 2] : inner[k];
                    if (inner[k] <= last)
                        set += literal(inner.sliced(k, 1)) + '-' + literal(QStringView(&last, 1));
                    k += range ? 2 : 0;
                }
                regex += negated ? "[^/" + set + ']' : set.isEmpty() ? QStringLiteral("(?!)") : "(?!/)[" + set + ']';
            }
            i = closing;
        } else {
            regex += literal(QStringView(&c, 1));
        }
    }
    const QRegularExpression expression(QRegularExpression::anchoredPattern(regex));
    FUZZ_CHECK(expression.isValid());
    return expression.match(address).hasMatch();
}

// The desk's typed encoder writes i h f d s b T F N I, texts and blobs as UTF-8.
bool encodable(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message, QVariantList &values)
{
    const auto utf8 = [](QByteArrayView bytes) { return QString::fromUtf8(bytes).toUtf8() == bytes; };
    if (!utf8(packet.addressBytes(message)))
        return false;
    for (int i = 0; i < message.argumentCount; ++i) {
        const Osc::OscField &argument = packet.argument(message, i);
        const QVariant value = packet.value(argument);
        switch (argument.tag) {
        case 'T': case 'F': case 'N': case 'I': continue;
        case 'i': case 'h': case 'd': break;
        case 'f': if (std::isnan(value.toFloat())) return false; break;
        case 's': if (!utf8(QByteArrayView(packet.bytes(argument).data()))) return false; break;
        case 'b': if (!utf8(value.toByteArray())) return false; break;
        default: return false;
        }
        values.append(value);
    }
    return true;
}

} // namespace

// Any datagram. The decoder reads only the bytes it was given (they are not copied: one
// byte too far is an AddressSanitizer report), its fields tile the bytes in order up to
// the end or the fault, a lone message reads the same in liblo and, when the desk's
// encoder can express it, encodes back to the same bytes. The input's two halves as
// pattern and address are matched in bounded work, as the rules restated as a regular
// expression say.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray datagram = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    Osc::OscPacket packet;
    Osc::OscDecodeError error;
    const bool decoded = Osc::decodeOscPacket(datagram, &packet, &error);

    qint32 at = 0;
    for (const Osc::OscField &field : packet.fields) {
        FUZZ_CHECK(field.offset == at && field.size >= 0 && field.depth < Osc::kOscMaxBundleDepth);
        FUZZ_CHECK(!Osc::describeField(packet, field).isEmpty());
        at += field.size;
    }
    if (decoded)
        FUZZ_CHECK(at == qint32(size));
    else
        FUZZ_CHECK(!error.reason.isEmpty() && at <= error.offset && error.offset <= qint32(size));
    for (const Osc::OscDecodedMessage &message : packet.messages) {
        FUZZ_CHECK(packet.typeTags(message).size() == message.argumentCount);
        for (int i = 0; i < message.argumentCount; ++i) {
            const Osc::OscField &argument = packet.argument(message, i);
            FUZZ_CHECK(Osc::formatOscArgument(argument.tag, packet.bytes(argument)) != QLatin1String("?"));
        }
        FUZZ_CHECK(!Osc::formatOscMessage(packet, message).isEmpty());
    }

    if (decoded && !packet.isBundle) {
        const Osc::OscDecodedMessage &message = packet.messages[0];
        // liblo reads every tag but 'r'.
        if (!packet.typeTags(message).contains(QLatin1Char('r'))) {
            QByteArray copy(datagram.constData(), datagram.size());
            int result = 0;
            const lo_message lo = lo_message_deserialise(copy.data(), size_t(copy.size()), &result);
            FUZZ_CHECK(lo);
            FUZZ_CHECK(QLatin1String(lo_message_get_types(lo)) == packet.typeTags(message));
            lo_message_free(lo);
        }

        QVariantList values;
        if (encodable(packet, message, values)) {
            FUZZ_CHECK(Osc::buildTypedOscMessage(packet.address(message), packet.typeTags(message), values, nullptr)
                       == datagram);
        }
    }

    const QString pattern = QString::fromLatin1(datagram.first(qsizetype(size / 2)));
    const QString address = QString::fromLatin1(datagram.sliced(qsizetype(size / 2)));
    const bool matches = Osc::oscPatternMatches(pattern, address);
    // Few stars and short texts: the regular expression's backtracking stays within its limits.
    if (pattern.count(QLatin1Char('*')) <= 4 && size <= 96)
        FUZZ_CHECK(matches == matchesAsRegex(pattern, address));
    return 0;
}
