#pragma once

#include <QtGlobal>

// Rules of the OSC 1.0 wire format that every reader and writer here shares.
namespace Osc {

// Every field of a packet starts at a multiple of 4 bytes: n bytes take up this many,
// the rest NULs.
constexpr qsizetype paddedSize(qsizetype n)
{
    return (n + 3) & ~qsizetype(3);
}

// OSC-string: n bytes of text, its NUL terminator, then the padding.
constexpr qsizetype oscStringSize(qsizetype n)
{
    return paddedSize(n + 1);
}

// "/osc/channel" addresses channels 1 to kChannelCount of a universe numbered from 0.
constexpr int kChannelCount = 512;

constexpr bool isValidChannel(qint64 channel)
{
    return channel >= 1 && channel <= kChannelCount;
}

constexpr bool isValidUniverse(qint64 universe)
{
    return universe >= 0;
}

} // namespace Osc
