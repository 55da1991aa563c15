// The kernel bodies, written once with the compiler's vector extensions and compiled once per
// instruction-set level: each including file defines LUMORA_KERNEL_LANES (pixels per vector)
// and is built with the matching target flags. Everything here has internal linkage, so the
// copies built for different processors never mix.
#pragma once

#include "cubefield/CubeFieldKernels.h"

#include <cmath>
#include <cstring>

#ifndef LUMORA_KERNEL_LANES
#error "define LUMORA_KERNEL_LANES before including this file"
#endif

namespace lumora::cubefield::kernels {
namespace {

constexpr int lanes = LUMORA_KERNEL_LANES;
typedef float Floats __attribute__((vector_size(4 * lanes)));
typedef std::int32_t Ints __attribute__((vector_size(4 * lanes)));
typedef std::uint32_t Pixels __attribute__((vector_size(4 * lanes)));
typedef std::uint8_t Bytes __attribute__((vector_size(lanes)));

inline Pixels loadPixels(const std::uint32_t* from) {
    Pixels v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

inline void storePixels(std::uint32_t* to, Pixels v) {
    std::memcpy(to, &v, sizeof v);
}

inline Floats byteAt(Pixels v, int shift) {
    return __builtin_convertvector(Ints((v >> shift) & 0xFF), Floats);
}

inline Floats splat(float value) {
    return Floats{} + value;
}

// Channels already offset by +0.5, so that truncation rounds. No clamping: every kernel blends
// colours within 0...255 with weights that sum to at most one, so results stay in range (the
// sprites' 8-bit quantization adds well under one unit, and the field's brightest colour is far
// below white).
inline Pixels packOpaque(Floats red, Floats green, Floats blue) {
    const auto channel = [](Floats value) {
        return Pixels(__builtin_convertvector(value, Ints));
    };
    return (channel(red) << 16) | (channel(green) << 8) | channel(blue) | 0xFF000000u;
}

// Runs `body(pixels, x, available)` on whole vectors (available == lanes), then on the last few
// pixels through a small buffer, so that every pixel goes through the same arithmetic.
template <typename Body> inline void forEachVector(std::uint32_t* row, int count, Body body) {
    int x = 0;
    for (; x + lanes <= count; x += lanes) {
        body(row + x, x, lanes);
    }
    if (x < count) {
        std::uint32_t tail[lanes] = {};
        const int rest = count - x;
        std::memcpy(tail, row + x, sizeof(std::uint32_t) * rest);
        body(tail, x, rest);
        std::memcpy(row + x, tail, sizeof(std::uint32_t) * rest);
    }
}

// One straight piece of the backdrop gradient: colour = base + slope * t, with t the position
// along the gradient of the row's first pixel plus x * step.
void fillGradientPiece(std::uint32_t* row, int count, float start, float step, const float* base,
                       const float* slope) {
    Floats offsets;
    for (int i = 0; i < lanes; ++i) {
        offsets[i] = float(i);
    }
    const Floats first = splat(start) + offsets * step;
    const Floats baseRed = splat(base[0] + 0.5f);
    const Floats baseGreen = splat(base[1] + 0.5f);
    const Floats baseBlue = splat(base[2] + 0.5f);
    const float slopeRed = slope[0];
    const float slopeGreen = slope[1];
    const float slopeBlue = slope[2];
    forEachVector(row, count, [&](std::uint32_t* at, int x, int) {
        const Floats t = first + float(x) * step;
        storePixels(at, packOpaque(baseRed + t * slopeRed, baseGreen + t * slopeGreen,
                                   baseBlue + t * slopeBlue));
    });
}

void fillBackdropRow(std::uint32_t* row, int count, const BackdropRow& backdrop) {
    // Positions grow along the row, so the pixels before the middle stop come first.
    int split = count;
    if (backdrop.step > 0) {
        const float crossing = std::ceil((0.5f - backdrop.start) / backdrop.step);
        split = crossing < 0 ? 0 : crossing > float(count) ? count : int(crossing);
    }
    float lowSlope[3];
    float highSlope[3];
    float highBase[3];
    for (int c = 0; c < 3; ++c) {
        lowSlope[c] = 2 * (backdrop.middle[c] - backdrop.low[c]);
        highSlope[c] = 2 * (backdrop.high[c] - backdrop.middle[c]);
        highBase[c] = backdrop.middle[c] - 0.5f * highSlope[c];
    }
    fillGradientPiece(row, split, backdrop.start, backdrop.step, backdrop.low, lowSlope);
    fillGradientPiece(row + split, count - split, backdrop.start + float(split) * backdrop.step,
                      backdrop.step, highBase, highSlope);
}

void blendGlowRow(std::uint32_t* row, const std::uint8_t* glow, int count, const GlowPaint& paint) {
    const Floats red = splat(paint.colour[0]);
    const Floats green = splat(paint.colour[1]);
    const Floats blue = splat(paint.colour[2]);
    const float scale = paint.scale;
    forEachVector(row, count, [&](std::uint32_t* at, int x, int available) {
        Bytes samples{};
        std::memcpy(&samples, glow + x, available);
        const Floats cover =
            __builtin_convertvector(__builtin_convertvector(samples, Ints), Floats) * scale;
        const Pixels under = loadPixels(at);
        const Floats underRed = byteAt(under, 16);
        const Floats underGreen = byteAt(under, 8);
        const Floats underBlue = byteAt(under, 0);
        storePixels(at, packOpaque(underRed + (red - underRed) * cover + 0.5f,
                                   underGreen + (green - underGreen) * cover + 0.5f,
                                   underBlue + (blue - underBlue) * cover + 0.5f));
    });
}

void blendPrismRows(const PrismRows& rows, const PrismPaint& paint) {
    const Floats perA = splat(paint.metalPerA);
    const Floats perB = splat(paint.metalPerB);
    const Floats perWhite = splat(paint.whitePerW);
    const Floats perAlpha = splat(paint.opacityPerAlpha);
    const Floats tintRed = splat(paint.tint[0]);
    const Floats tintGreen = splat(paint.tint[1]);
    const Floats tintBlue = splat(paint.tint[2]);
    std::uint32_t* frameRow = rows.frameRow;
    for (int r = 0; r < rows.rowCount; ++r, frameRow += rows.frameStride) {
        const SpriteSpan& span = rows.spans[r];
        const int start = rows.left + span.first;
        const int begin = start < 0 ? 0 : start;
        const int end = start + span.count < rows.frameWidth ? start + span.count : rows.frameWidth;
        if (begin >= end) {
            continue;
        }
        const std::uint32_t* sprite = rows.pixels + span.offset + (begin - start);
        forEachVector(frameRow + begin, end - begin, [&](std::uint32_t* at, int x, int available) {
            Pixels texels{};
            std::memcpy(&texels, sprite + x, sizeof(std::uint32_t) * available);
            const Floats metal = byteAt(texels, 0) * perA + byteAt(texels, 8) * perB;
            const Floats white = byteAt(texels, 16) * perWhite + 0.5f;
            const Floats alpha = __builtin_convertvector(Ints(texels >> 24), Floats);
            const Floats keep = 1.0f - alpha * perAlpha;
            const Pixels under = loadPixels(at);
            storePixels(at, packOpaque(byteAt(under, 16) * keep + (metal * tintRed + white),
                                       byteAt(under, 8) * keep + (metal * tintGreen + white),
                                       byteAt(under, 0) * keep + (metal * tintBlue + white)));
        });
    }
}

} // namespace
} // namespace lumora::cubefield::kernels
