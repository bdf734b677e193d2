#include "fuzzcheck.h"
#include "logformat.h"
#include "oscmessage.h"
#include "oscparser.h"

#include <cstdint>
#include <cstring>

using Osc::ParsedDatagram;

// Any received datagram. The parser reads only the bytes it was given (the input is not
// copied, so one byte too far is an AddressSanitizer report) and gives one verdict whose
// fields hold their documented ranges. The hex dumps of the log lines show its bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray datagram = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const ParsedDatagram parsed = Osc::parseDatagram(datagram);

    switch (parsed.kind) {
    case ParsedDatagram::Kind::Ignored:
        FUZZ_CHECK(size == 0);
        break;
    case ParsedDatagram::Kind::Channel: {
        FUZZ_CHECK(parsed.channel >= 1 && parsed.channel <= 512);
        FUZZ_CHECK(parsed.universe >= 0);
        FUZZ_CHECK(size >= 36 && std::memcmp(data, "/osc/channel\0", 13) == 0);
        // What the desk would send for it reads back the same.
        const ParsedDatagram again =
                Osc::parseDatagram(Osc::buildOscChannelMessage(parsed.universe, parsed.channel, parsed.value));
        FUZZ_CHECK(again.kind == ParsedDatagram::Kind::Channel && again.universe == parsed.universe
                   && again.channel == parsed.channel && again.value == parsed.value);
        break;
    }
    case ParsedDatagram::Kind::Universe:
        FUZZ_CHECK(parsed.universe >= 0);
        // Address (16), type tags (4), universe (4) and the blob's count (4) come first.
        FUZZ_CHECK(qsizetype(size) >= 28 + parsed.data.size());
        FUZZ_CHECK(datagram.indexOf(parsed.data, 28) >= 28);
        break;
    case ParsedDatagram::Kind::Error:
        FUZZ_CHECK(!parsed.error.isEmpty());
        break;
    }

    // The hex of the log lines is the datagram's own hex, cut.
    for (const int digits : {0, 1, 63, 64, 80, 96, int(2 * size + 1)})
        FUZZ_CHECK(LogFormat::hexDigits(datagram, digits) == QString::fromLatin1(datagram.toHex().left(digits)));

    return 0;
}
