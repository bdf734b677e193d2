// Encoding and decoding OSC messages: this project's wire format beside liblo and oscpack.
#include "oscdecoder.h"
#include "oscmessage.h"
#include "oscparser.h"

#include <benchmark/benchmark.h>
#include <lo/lo.h>
#include <osc/OscOutboundPacketStream.h>
#include <osc/OscReceivedElements.h>

#include <cstring>

namespace {

void Encode_Channel_Ours(benchmark::State &state)
{
    int value = 0;
    for (auto _ : state) {
        QByteArray message = Osc::buildOscChannelMessage(0, 1, value++ & 127);
        benchmark::DoNotOptimize(message.constData());
    }
}
BENCHMARK(Encode_Channel_Ours);

void Encode_Channel_Oscpack(benchmark::State &state)
{
    char buffer[64];
    int value = 0;
    for (auto _ : state) {
        osc::OutboundPacketStream p(buffer, sizeof buffer);
        p << osc::BeginMessage("/osc/channel") << 0 << 1 << (value++ & 127) << osc::EndMessage;
        benchmark::DoNotOptimize(p.Data());
    }
}
BENCHMARK(Encode_Channel_Oscpack);

void Encode_Channel_Liblo(benchmark::State &state)
{
    char buffer[64];
    int value = 0;
    for (auto _ : state) {
        lo_message m = lo_message_new();
        lo_message_add_int32(m, 0);
        lo_message_add_int32(m, 1);
        lo_message_add_int32(m, value++ & 127);
        size_t size = sizeof buffer;
        benchmark::DoNotOptimize(lo_message_serialise(m, "/osc/channel", buffer, &size));
        lo_message_free(m);
    }
}
BENCHMARK(Encode_Channel_Liblo);

void Encode_Typed_ffs_Ours(benchmark::State &state)
{
    const QString address = QStringLiteral("/mixer/fx/send");
    const QString tags = QStringLiteral("ffs");
    const QVariantList values{0.25, 0.75, QStringLiteral("echo")};
    for (auto _ : state) {
        QString error;
        QByteArray message = Osc::buildTypedOscMessage(address, tags, values, &error);
        benchmark::DoNotOptimize(message.constData());
    }
}
BENCHMARK(Encode_Typed_ffs_Ours);

void Encode_Typed_ffs_Oscpack(benchmark::State &state)
{
    char buffer[64];
    for (auto _ : state) {
        osc::OutboundPacketStream p(buffer, sizeof buffer);
        p << osc::BeginMessage("/mixer/fx/send") << 0.25f << 0.75f << "echo" << osc::EndMessage;
        benchmark::DoNotOptimize(p.Data());
    }
}
BENCHMARK(Encode_Typed_ffs_Oscpack);

const QByteArray &channelDatagram()
{
    static const QByteArray datagram = Osc::buildOscChannelMessage(0, 1, 200);
    return datagram;
}

void Parse_Channel_Ours(benchmark::State &state)
{
    const QByteArray &datagram = channelDatagram();
    int sum = 0;
    for (auto _ : state) {
        const Osc::ParsedDatagram parsed = Osc::parseDatagram(datagram);
        sum += parsed.universe + parsed.channel + parsed.value;
    }
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(Parse_Channel_Ours);

void Parse_Channel_Oscpack(benchmark::State &state)
{
    const QByteArray &datagram = channelDatagram();
    int sum = 0;
    for (auto _ : state) {
        osc::ReceivedPacket packet(datagram.constData(), osc::osc_bundle_element_size_t(datagram.size()));
        osc::ReceivedMessage message(packet);
        if (std::strcmp(message.AddressPattern(), "/osc/channel") == 0) {
            osc::ReceivedMessageArgumentStream args = message.ArgumentStream();
            osc::int32 universe, channel, value;
            args >> universe >> channel >> value >> osc::EndMessage;
            sum += universe + channel + value;
        }
    }
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(Parse_Channel_Oscpack);

void Parse_Channel_Liblo(benchmark::State &state)
{
    QByteArray datagram = channelDatagram();
    int sum = 0;
    for (auto _ : state) {
        int result = 0;
        lo_message m = lo_message_deserialise(datagram.data(), datagram.size(), &result);
        if (m) {
            lo_arg **argv = lo_message_get_argv(m);
            sum += argv[0]->i + argv[1]->i + argv[2]->i;
            lo_message_free(m);
        }
    }
    benchmark::DoNotOptimize(sum);
}
BENCHMARK(Parse_Channel_Liblo);

// Decoding any message and visiting each argument's type tag: the monitor's decoder beside
// oscpack walking a ReceivedMessage's arguments and liblo's lo_message_deserialise.
const QByteArray &typedDatagram()
{
    static const QByteArray datagram = Osc::buildTypedOscMessage(
            QStringLiteral("/mixer/fx/send"), QStringLiteral("ffsihdb"),
            {0.25, 0.75, QStringLiteral("echo"), 7, qlonglong(1) << 40, 0.5, QStringLiteral("blob")}, nullptr);
    return datagram;
}

void decodeOurs(benchmark::State &state, const QByteArray &datagram)
{
    Osc::OscPacket packet;
    Osc::OscDecodeError error;
    int sum = 0;
    for (auto _ : state) {
        if (Osc::decodeOscPacket(datagram, &packet, &error)) {
            for (const Osc::OscDecodedMessage &message : packet.messages) {
                for (int i = 0; i < message.argumentCount; ++i)
                    sum += packet.argument(message, i).tag;
            }
        }
    }
    benchmark::DoNotOptimize(sum);
}

void decodeOscpack(benchmark::State &state, const QByteArray &datagram)
{
    int sum = 0;
    for (auto _ : state) {
        osc::ReceivedPacket packet(datagram.constData(), osc::osc_bundle_element_size_t(datagram.size()));
        osc::ReceivedMessage message(packet);
        for (auto it = message.ArgumentsBegin(); it != message.ArgumentsEnd(); ++it)
            sum += it->TypeTag();
    }
    benchmark::DoNotOptimize(sum);
}

void decodeLiblo(benchmark::State &state, const QByteArray &original)
{
    QByteArray datagram = original;
    int sum = 0;
    for (auto _ : state) {
        int result = 0;
        lo_message m = lo_message_deserialise(datagram.data(), datagram.size(), &result);
        if (m) {
            const char *types = lo_message_get_types(m);
            for (int i = 0; i < lo_message_get_argc(m); ++i)
                sum += types[i];
            lo_message_free(m);
        }
    }
    benchmark::DoNotOptimize(sum);
}

void Decode_Channel_Ours(benchmark::State &state) { decodeOurs(state, channelDatagram()); }
void Decode_Channel_Oscpack(benchmark::State &state) { decodeOscpack(state, channelDatagram()); }
void Decode_Channel_Liblo(benchmark::State &state) { decodeLiblo(state, channelDatagram()); }
void Decode_Typed_Ours(benchmark::State &state) { decodeOurs(state, typedDatagram()); }
void Decode_Typed_Oscpack(benchmark::State &state) { decodeOscpack(state, typedDatagram()); }
void Decode_Typed_Liblo(benchmark::State &state) { decodeLiblo(state, typedDatagram()); }
BENCHMARK(Decode_Channel_Ours);
BENCHMARK(Decode_Channel_Oscpack);
BENCHMARK(Decode_Channel_Liblo);
BENCHMARK(Decode_Typed_Ours);
BENCHMARK(Decode_Typed_Oscpack);
BENCHMARK(Decode_Typed_Liblo);

} // namespace

BENCHMARK_MAIN();
