#include "fuzzcheck.h"
#include "oscmessage.h"
#include "oscparser.h"

#include <QtEndian>

#include <fuzzer/FuzzedDataProvider.h>
#include <lo/lo_lowlevel.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

// Mostly the letters of OSC addresses and tags, now and then any UTF-16 unit (a NUL,
// a lone surrogate, a character beyond Latin-1).
QString takeText(FuzzedDataProvider &in, size_t maxLength)
{
    static const char common[] = "/abcxyz019_-. ihfdsbTFNI,#";
    QString text;
    const size_t length = in.ConsumeIntegralInRange<size_t>(0, maxLength);
    for (size_t i = 0; i < length && in.remaining_bytes() > 0; ++i) {
        if (in.ConsumeIntegralInRange(0, 7) != 0)
            text += QLatin1Char(common[in.ConsumeIntegralInRange<size_t>(0, sizeof common - 2)]);
        else
            text += QChar(in.ConsumeIntegral<quint16>());
    }
    return text;
}

QVariant takeValue(FuzzedDataProvider &in, int depth = 0)
{
    switch (in.ConsumeIntegralInRange(0, 11)) {
    case 0: return in.ConsumeIntegral<int>();
    case 1: return qlonglong(in.ConsumeIntegral<qint64>());
    case 2: return qulonglong(in.ConsumeIntegral<quint64>());
    case 3: return in.ConsumeFloatingPoint<double>();
    case 4: {
        // Any bit pattern: NaNs, infinities and denormals included.
        const quint64 bits = in.ConsumeIntegral<quint64>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    case 5: return in.ConsumeFloatingPoint<float>();
    case 6: return in.ConsumeBool();
    case 7: return takeText(in, 80);
    case 8: return QByteArray::fromStdString(in.ConsumeRandomLengthString(80));
    case 9: return QVariant::fromValue(nullptr);
    case 10: {
        QVariantList list;
        const int count = depth < 2 ? in.ConsumeIntegralInRange(0, 3) : 0;
        for (int i = 0; i < count; ++i)
            list.append(takeValue(in, depth + 1));
        return list;
    }
    default: return QVariant();
    }
}

// liblo reads what we wrote: the same address, the same tags, the same length.
void checkWithLiblo(const QByteArray &message, const QString &address, const QString &tags)
{
    QByteArray copy = message;
    int result = 0;
    const lo_message decoded = lo_message_deserialise(copy.data(), size_t(copy.size()), &result);
    if (!decoded) {
        std::fprintf(stderr, "liblo refuses the message (error %d): %s\n", result, message.toHex().constData());
        std::abort();
    }
    const char *path = lo_get_path(copy.data(), copy.size());
    FUZZ_CHECK(path && QByteArray(path) == address.toUtf8());
    FUZZ_CHECK(QByteArray(lo_message_get_types(decoded)) == tags.toLatin1());
    FUZZ_CHECK(lo_message_length(decoded, path) == size_t(message.size()));
    lo_message_free(decoded);
}

} // namespace

// The typed encoder with any address, any tags and values of any type: it either fails
// with a reason and no bytes, or gives a well-formed message that another OSC
// implementation reads back; a one-message bundle of it is well-formed too.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const QString address = takeText(in, 40);
    const QString tags = takeText(in, 12);
    QVariantList values;
    const int count = in.ConsumeIntegralInRange(0, 12);
    for (int i = 0; i < count; ++i)
        values.append(takeValue(in));

    // The one-argument messages of sendOscToAddress are this encoder's ",i" and ",f".
    const qint32 number = in.ConsumeIntegral<qint32>();
    FUZZ_CHECK(Osc::buildInt32Message(address, number)
               == Osc::buildTypedOscMessage(address, QStringLiteral("i"), {number}, nullptr));
    const float real = in.ConsumeFloatingPoint<float>();
    FUZZ_CHECK(Osc::buildFloat32Message(address, real)
               == Osc::buildTypedOscMessage(address, QStringLiteral("f"), {double(real)}, nullptr));

    const QString untouched = QStringLiteral("untouched");
    QString error = untouched;
    const QByteArray message = Osc::buildTypedOscMessage(address, tags, values, &error);
    FUZZ_CHECK(Osc::buildTypedOscMessage(address, tags, values, nullptr) == message);
    if (message.isEmpty()) {
        FUZZ_CHECK(!error.isEmpty() && error != untouched);
        return 0;
    }
    FUZZ_CHECK(error == untouched);
    FUZZ_CHECK(message.size() % 4 == 0);
    // An OSC-string ends at its first NUL, and the encoder checks no text: an address or
    // a string value holding U+0000 is written as given, and no decoder reads it as meant.
    const auto holdsNul = [](const QVariant &value) { return value.toString().contains(QChar(0)); };
    if (!address.contains(QChar(0)) && std::none_of(values.cbegin(), values.cend(), holdsNul))
        checkWithLiblo(message, address, tags);

    const QByteArray bundle = Osc::wrapInBundle(message);
    FUZZ_CHECK(bundle.size() == message.size() + 20 && bundle.size() % 4 == 0);
    FUZZ_CHECK(std::memcmp(bundle.constData(), "#bundle\0\0\0\0\0\0\0\0\1", 16) == 0);
    FUZZ_CHECK(qFromBigEndian<qint32>(bundle.constData() + 16) == message.size());
    FUZZ_CHECK(bundle.mid(20) == message);
    FUZZ_CHECK(Osc::parseDatagram(bundle).kind == Osc::ParsedDatagram::Kind::Error);
    return 0;
}
