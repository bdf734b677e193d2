#pragma once

// The controls work in 0..255; the target gets int 0..127 or float 0.0..1.0.
namespace ValueMapping {

constexpr int clampControlValue(int value)
{
    return value < 0 ? 0 : (value > 255 ? 255 : value);
}

// (v * 127 + 63) / 255, truncated: 0 and 1 give 0, 128 gives 63, 255 gives 127.
// Differs on purpose from the fader's toInt127 (FixtureChannelFader.qml), which rounds 128 to 64.
constexpr int mapToInt127(int value)
{
    return (clampControlValue(value) * 127 + 63) / 255;
}

// Single precision throughout: 255 gives exactly 1.0f.
inline float mapToUnitFloat(int value)
{
    return static_cast<float>(clampControlValue(value)) / 255.0f;
}

} // namespace ValueMapping
