#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The per-pixel loops of the fast cube-field renderer, one set per instruction-set level. They
// work on rows of 0xAARRGGBB pixels (QImage's ARGB32 premultiplied) and always leave them opaque.
// Colours are in 0...255 units.
namespace lumora::cubefield::kernels {

// The backdrop gradient along one row: at pixel x the gradient position is start + x * step,
// and the colour runs linearly from `low` (position 0) to `middle` (0.5) to `high` (1).
struct BackdropRow {
    float start;
    float step;
    float low[3]; // red, green, blue
    float middle[3];
    float high[3];
};

// A glow laid over a row: each glow sample g (0...255) covers the pixel with opacity g * scale
// in `colour`.
struct GlowPaint {
    float colour[3];
    float scale;
};

// A prism sprite laid over a row. Each sprite pixel packs four bytes: the metal that follows the
// prism's brightness (a), the metal that does not (b), white from the edges (w) and opacity
// (alpha), from low to high byte. The premultiplied colour drawn is, per channel,
// tint * (a * metalPerA + b * metalPerB) + w * whitePerW, over the row at 1 - alpha *
// opacityPerAlpha.
struct PrismPaint {
    float metalPerA;
    float metalPerB;
    float whitePerW;
    float opacityPerAlpha;
    float tint[3]; // red, green, blue
};

// The pixels of one sprite row that are not empty: columns first ... first + count - 1, stored
// from `offset` in the sprite's pixel array. Counts are padded with empty pixels to a whole
// number of the kernel set's lanes.
struct SpriteSpan {
    int first = 0;
    int count = 0;
    std::size_t offset = 0;
};

// Rows of a prism sprite to lay over rows of the frame, clipped to the frame's width.
struct PrismRows {
    std::uint32_t* frameRow;    // the frame row under the first sprite row, at x = 0
    std::ptrdiff_t frameStride; // pixels from one frame row to the next
    int frameWidth;
    int left;                // frame column of the sprite's column 0
    const SpriteSpan* spans; // one per row
    int rowCount;
    const std::uint32_t* pixels;
};

struct KernelSet {
    const char* name;
    int lanes; // pixels per vector
    void (*fillBackdrop)(std::uint32_t* row, int count, const BackdropRow& backdrop);
    void (*blendGlow)(std::uint32_t* row, const std::uint8_t* glow, int count,
                      const GlowPaint& paint);
    void (*blendPrism)(const PrismRows& rows, const PrismPaint& paint);
};

// Plain SSE2 on x86-64 (or whatever the compiler targets by default elsewhere).
const KernelSet& portableKernels();
// The fastest set this processor runs.
const KernelSet& bestKernels();
// Every set this processor runs, fastest first.
std::vector<const KernelSet*> supportedKernels();

} // namespace lumora::cubefield::kernels
