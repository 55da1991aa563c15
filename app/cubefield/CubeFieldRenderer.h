#pragma once

#include "cubefield/CubeFieldRules.h"

#include <QImage>
#include <QSize>

#include <memory>
#include <vector>

namespace lumora::cubefield {

namespace kernels {
struct KernelSet;
}

// The renderer the application uses: the same picture as the reference renderer, fast enough
// for 45 frames a second at 3840 x 2160 on one processor core.
//
// What does not change between frames is prepared once. Each prism is a sprite drawn by QPainter
// at a grid of sub-pixel offsets; since every metal colour of a prism is an affine function of
// its brightness, a sprite pixel stores that function (two numbers) plus the white of the edges
// and the opacity, and any brightness is drawn from the same sprite. The two glows are blurred
// once into sprites of their own. A frame is then composed in bands of rows small enough to stay
// in the processor's cache: the backdrop gradient, the glows, and the prism sprites back to
// front, with vector instructions.
//
// Not thread-safe: one renderer draws one frame at a time. Different renderers are independent.
class CubeFieldRenderer {
public:
    // Draws with the fastest pixel loops this processor runs, or with the given set.
    CubeFieldRenderer();
    explicit CubeFieldRenderer(const kernels::KernelSet& kernels);
    ~CubeFieldRenderer();
    CubeFieldRenderer(const CubeFieldRenderer&) = delete;
    CubeFieldRenderer& operator=(const CubeFieldRenderer&) = delete;

    // Draws the frame at `phase` over all of `frame`, which must be Format_ARGB32_Premultiplied
    // or Format_RGB32 (every pixel comes out opaque). Nothing happens to a null frame.
    void render(QImage& frame, double phase);
    // A new ARGB32 premultiplied frame; an empty size gives a null image.
    QImage render(QSize size, double phase);

    // The instruction set of the pixel loops in use, e.g. "avx2".
    const char* instructionSet() const;

    // Sub-pixel offsets per pixel, in each direction, at which prism sprites are prepared.
    static constexpr int spritePhases = 16;
    // Rows composed together; a band of a 3840-pixel-wide frame is about half a megabyte.
    static constexpr int bandRows = 32;

    // What is prepared once (defined with the renderer's code).
    struct PrismSprites;
    struct GlowSprite;

private:
    struct Placement {
        int x;
        int y;
        int sprite;
        float brightness;
    };

    const kernels::KernelSet& m_kernels;
    // Prepared on the first frame; the prism sprites again whenever the prism size changes.
    std::unique_ptr<PrismSprites> m_sprites;
    std::unique_ptr<GlowSprite> m_glowA;
    std::unique_ptr<GlowSprite> m_glowB;
    // Per-frame working storage, kept to avoid allocating every frame.
    std::vector<PlacedPrism> m_prisms;
    std::vector<Placement> m_placements;
    std::vector<std::vector<int>> m_bands;
};

} // namespace lumora::cubefield
