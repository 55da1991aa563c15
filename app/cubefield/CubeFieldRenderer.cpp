#include "cubefield/CubeFieldRenderer.h"

#include "cubefield/CubeFieldKernels.h"
#include "cubefield/GlowBlur.h"
#include "cubefield/ReferenceRenderer.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>

namespace lumora::cubefield {

namespace {

using kernels::SpriteSpan;

int floorToInt(double value) {
    return int(std::floor(value));
}

int floorDivide(int value, int divisor) {
    return value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
}

// One pixel of a QImage painted in RGBA32FPx4 premultiplied.
struct FloatPixel {
    float red, green, blue, alpha;
};

const FloatPixel* floatRow(const QImage& image, int y) {
    return reinterpret_cast<const FloatPixel*>(image.constScanLine(y));
}

QImage clearFloatImage(int width, int height) {
    QImage image(width, height, QImage::Format_RGBA32FPx4_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// `value` within 0...maximum as 0...255.
std::uint8_t quantize(float value, float maximum) {
    return std::uint8_t(std::clamp(std::lround(value / maximum * 255.0f), 0L, 255L));
}

// The [first, last] range of non-zero entries of a row as a span padded to a multiple of
// `quantum`; empty rows give an empty span.
template <typename T> SpriteSpan nonEmptySpan(const T* row, int width, int quantum) {
    int first = 0;
    while (first < width && row[first] == 0) {
        ++first;
    }
    int last = width - 1;
    while (last >= first && row[last] == 0) {
        --last;
    }
    if (last < first) {
        return {};
    }
    const int count = last - first + 1;
    return {first, (count + quantum - 1) / quantum * quantum, 0};
}

} // namespace

struct CubeFieldRenderer::PrismSprites {
    // The largest value each part of a sprite pixel can take, premultiplied, which its byte's
    // 255 stands for. Compositing keeps a premultiplied value within the largest of its layers:
    // the metal follows the brightness m with a factor of at most 1 and adds at most 0.18
    // (the top face's m + 0.18 stop); white and opacity stay within 1.
    static constexpr float maximumA = 1.0f;
    static constexpr float maximumB = 0.18f;
    static constexpr float maximumWhite = 1.0f;
    static constexpr float maximumAlpha = 1.0f;

    double prismSize = 0;
    QPointF anchor; // where the prism centre sits in the sprite of offset (0, 0)
    int width = 0;  // sprite bounds in pixels
    int height = 0;
    std::vector<SpriteSpan> rows; // spritePhases² sprites of `height` rows each
    // The packed pixels of each sprite (small separate blocks, no large reallocations).
    std::vector<std::vector<std::uint32_t>> pixels;

    const SpriteSpan* spriteRows(int sprite) const {
        return rows.data() + std::size_t(sprite) * height;
    }
};

struct CubeFieldRenderer::GlowSprite {
    QPointF anchor; // the ellipse centre in the sprite
    int width = 0;
    int height = 0;
    std::vector<SpriteSpan> rows;
    std::vector<std::uint8_t> values;
    kernels::GlowPaint paint{};
};

namespace {

using PrismSprites = CubeFieldRenderer::PrismSprites;
using GlowSprite = CubeFieldRenderer::GlowSprite;

// Draws the prism of size s at every sub-pixel offset, three times each: the faces at
// brightness 0 and at a reference brightness (their difference is the part that follows the
// brightness), and the edges alone, which are composed over the faces here once and for all.
std::unique_ptr<PrismSprites> prepareSprites(double prismSize, int lanes) {
    constexpr int phases = CubeFieldRenderer::spritePhases;
    constexpr double referenceBrightness = 0.5;
    constexpr int margin = 3;
    const PrismShape shape = prismShape(prismSize);

    auto sprites = std::make_unique<PrismSprites>();
    sprites->prismSize = prismSize;
    sprites->anchor = QPointF(margin + shape.width / 2, margin + shape.topHeight / 2);
    sprites->width = int(std::ceil(shape.width)) + 2 * margin + 1;
    sprites->height = int(std::ceil(shape.topHeight + shape.depth)) + 2 * margin + 1;
    const int width = sprites->width;
    const int height = sprites->height;

    sprites->rows.reserve(std::size_t(phases) * phases * height);
    sprites->pixels.reserve(std::size_t(phases) * phases);
    std::vector<std::uint32_t> packed(width);
    for (int py = 0; py < phases; ++py) {
        for (int px = 0; px < phases; ++px) {
            const QPointF centre =
                sprites->anchor + QPointF(double(px) / phases, double(py) / phases);
            sprites->pixels.emplace_back();
            QImage dark = clearFloatImage(width, height);
            QImage lit = clearFloatImage(width, height);
            QImage edges = clearFloatImage(width, height);
            for (auto [image, brightness] :
                 std::array{std::pair{&dark, 0.0}, std::pair{&lit, referenceBrightness}}) {
                QPainter painter(image);
                painter.setRenderHint(QPainter::Antialiasing);
                drawCubeFaces(painter, centre, shape, brightness);
            }
            {
                QPainter painter(&edges);
                painter.setRenderHint(QPainter::Antialiasing);
                drawCubeEdges(painter, centre, shape);
            }
            for (int y = 0; y < height; ++y) {
                const FloatPixel* darkRow = floatRow(dark, y);
                const FloatPixel* litRow = floatRow(lit, y);
                const FloatPixel* edgeRow = floatRow(edges, y);
                for (int x = 0; x < width; ++x) {
                    // Red carries the metal untinted; the edges are white, so red = opacity.
                    const float under = 1 - edgeRow[x].alpha;
                    const float a = (litRow[x].red - darkRow[x].red) / float(referenceBrightness);
                    const float b = darkRow[x].red;
                    const float alpha = edgeRow[x].alpha + under * darkRow[x].alpha;
                    packed[x] = std::uint32_t(quantize(under * a, PrismSprites::maximumA)) |
                                std::uint32_t(quantize(under * b, PrismSprites::maximumB)) << 8 |
                                std::uint32_t(quantize(edgeRow[x].red, PrismSprites::maximumWhite))
                                    << 16 |
                                std::uint32_t(quantize(alpha, PrismSprites::maximumAlpha)) << 24;
                }
                // Padded to whole vectors, so that the pixel loops rarely take their tail path.
                SpriteSpan span = nonEmptySpan(packed.data(), width, lanes);
                std::vector<std::uint32_t>& pixels = sprites->pixels.back();
                span.offset = pixels.size();
                for (int x = span.first; x < span.first + span.count; ++x) {
                    pixels.push_back(x < width ? packed[x] : 0);
                }
                sprites->rows.push_back(span);
            }
            sprites->pixels.back().shrink_to_fit();
        }
    }
    return sprites;
}

// A glow ellipse painted with its opacity, blurred once, kept as 8-bit coverage.
std::unique_ptr<GlowSprite> prepareGlow(const Glow& glow) {
    const int reach = blurReach(glowBlurSigma) + 2;
    auto prepared = std::make_unique<GlowSprite>();
    GlowSprite& sprite = *prepared;
    sprite.width = int(std::ceil(glow.size.width())) + 2 * reach;
    sprite.height = int(std::ceil(glow.size.height())) + 2 * reach;
    sprite.anchor = QPointF(reach + glow.size.width() / 2, reach + glow.size.height() / 2);

    QImage layer = clearFloatImage(sprite.width, sprite.height);
    {
        QPainter painter(&layer);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromRgbF(1, 1, 1, float(glow.colour.alpha)));
        painter.drawEllipse(QRectF(QPointF(reach, reach), glow.size));
    }
    std::vector<float> cover(std::size_t(sprite.width) * sprite.height);
    for (int y = 0; y < sprite.height; ++y) {
        const FloatPixel* row = floatRow(layer, y);
        for (int x = 0; x < sprite.width; ++x) {
            cover[std::size_t(y) * sprite.width + x] = row[x].alpha;
        }
    }
    blurPlane(cover.data(), sprite.width, sprite.height, glowBlurSigma);
    const float maximum = *std::max_element(cover.begin(), cover.end());

    std::vector<std::uint8_t> quantized(sprite.width);
    for (int y = 0; y < sprite.height; ++y) {
        for (int x = 0; x < sprite.width; ++x) {
            quantized[x] = quantize(cover[std::size_t(y) * sprite.width + x], maximum);
        }
        SpriteSpan span = nonEmptySpan(quantized.data(), sprite.width, 1);
        span.offset = sprite.values.size();
        sprite.values.insert(sprite.values.end(), quantized.begin() + span.first,
                             quantized.begin() + span.first + span.count);
        sprite.rows.push_back(span);
    }
    sprite.paint = {{float(glow.colour.red * 255), float(glow.colour.green * 255),
                     float(glow.colour.blue * 255)},
                    maximum / 255.0f};
    return prepared;
}

// Rows of a frame being drawn.
struct FrameRows {
    uchar* bits;
    qsizetype bytesPerLine;
    int width;

    std::uint32_t* operator[](int y) const {
        return reinterpret_cast<std::uint32_t*>(bits + y * bytesPerLine);
    }
};

void blendGlow(const kernels::KernelSet& kernels, const GlowSprite& glow, QPointF centre,
               const FrameRows& frame, int firstRow, int endRow) {
    const int left = int(std::lround(centre.x() - glow.anchor.x()));
    const int top = int(std::lround(centre.y() - glow.anchor.y()));
    for (int y = std::max(firstRow, top); y < std::min(endRow, top + glow.height); ++y) {
        const SpriteSpan& span = glow.rows[y - top];
        const int begin = std::max(0, left + span.first);
        const int end = std::min(frame.width, left + span.first + span.count);
        if (begin < end) {
            kernels.blendGlow(frame[y] + begin,
                              glow.values.data() + span.offset + (begin - left - span.first),
                              end - begin, glow.paint);
        }
    }
}

} // namespace

CubeFieldRenderer::CubeFieldRenderer() : CubeFieldRenderer(kernels::bestKernels()) {}

CubeFieldRenderer::CubeFieldRenderer(const kernels::KernelSet& kernels) : m_kernels(kernels) {}

CubeFieldRenderer::~CubeFieldRenderer() = default;

const char* CubeFieldRenderer::instructionSet() const {
    return m_kernels.name;
}

QImage CubeFieldRenderer::render(QSize size, double phase) {
    if (size.isEmpty()) {
        return {};
    }
    QImage frame(size, QImage::Format_ARGB32_Premultiplied);
    render(frame, phase);
    return frame;
}

void CubeFieldRenderer::render(QImage& frame, double phase) {
    if (frame.isNull()) {
        return;
    }
    Q_ASSERT(frame.format() == QImage::Format_ARGB32_Premultiplied ||
             frame.format() == QImage::Format_RGB32);
    const int width = frame.width();
    const int height = frame.height();
    const QSizeF canvas(width, height);
    const FrameRows rows{frame.bits(), frame.bytesPerLine(), width};

    const double size = prismSize(height);
    if (!m_sprites || m_sprites->prismSize != size) {
        m_sprites = prepareSprites(size, m_kernels.lanes);
    }
    const PrismSprites& sprites = *m_sprites;
    if (!m_glowA) {
        m_glowA = prepareGlow(glowA());
        m_glowB = prepareGlow(glowB());
    }

    // Where each prism lands: a whole-pixel position and the sprite of the nearest sub-pixel
    // offset, filed under every band of rows it touches, in drawing order.
    const int bandCount = (height + bandRows - 1) / bandRows;
    m_bands.resize(bandCount);
    for (auto& band : m_bands) {
        band.clear();
    }
    m_placements.clear();
    visiblePrisms(canvas, phase, m_prisms);
    for (const PlacedPrism& prism : m_prisms) {
        const QPointF corner = prism.centre - sprites.anchor;
        int x = floorToInt(corner.x());
        int y = floorToInt(corner.y());
        int px = int(std::lround((corner.x() - x) * spritePhases));
        int py = int(std::lround((corner.y() - y) * spritePhases));
        if (px == spritePhases) {
            px = 0;
            ++x;
        }
        if (py == spritePhases) {
            py = 0;
            ++y;
        }
        if (x >= width || y >= height || x + sprites.width <= 0 || y + sprites.height <= 0) {
            continue;
        }
        const int index = int(m_placements.size());
        m_placements.push_back({x, y, py * spritePhases + px, float(prism.brightness)});
        const int firstBand = std::max(0, floorDivide(y, bandRows));
        const int lastBand = std::min(bandCount - 1, (y + sprites.height - 1) / bandRows);
        for (int band = firstBand; band <= lastBand; ++band) {
            m_bands[band].push_back(index);
        }
    }

    // The backdrop gradient runs from (0, 0) to (W, H); QPainter samples pixel centres.
    const double lengthSquared = double(width) * width + double(height) * height;
    kernels::BackdropRow backdrop{};
    backdrop.step = float(width / lengthSquared);
    const auto setChannels = [](float* to, const Colour& stop) {
        to[0] = float(255 * stop.red);
        to[1] = float(255 * stop.green);
        to[2] = float(255 * stop.blue);
    };
    setChannels(backdrop.low, backdropStops[0]);
    setChannels(backdrop.middle, backdropStops[1]);
    setChannels(backdrop.high, backdropStops[2]);

    kernels::PrismPaint paint{};
    paint.metalPerB = sprites.maximumB;
    paint.whitePerW = sprites.maximumWhite;
    paint.opacityPerAlpha = sprites.maximumAlpha / 255.0f;
    paint.tint[0] = 1.0f;
    paint.tint[1] = float(metalGreenTint);
    paint.tint[2] = float(metalBlueTint);

    const GlowCentres glows = glowCentres(canvas, phase);
    for (int band = 0; band < bandCount; ++band) {
        const int firstRow = band * bandRows;
        const int endRow = std::min(height, firstRow + bandRows);
        for (int y = firstRow; y < endRow; ++y) {
            backdrop.start = float((0.5 * width + (y + 0.5) * height) / lengthSquared);
            m_kernels.fillBackdrop(rows[y], width, backdrop);
        }
        blendGlow(m_kernels, *m_glowA, glows.a, rows, firstRow, endRow);
        blendGlow(m_kernels, *m_glowB, glows.b, rows, firstRow, endRow);

        for (const int index : m_bands[band]) {
            const Placement& placement = m_placements[index];
            paint.metalPerA = placement.brightness * sprites.maximumA;
            const int from = std::max(firstRow, placement.y);
            const int to = std::min(endRow, placement.y + sprites.height);
            if (from >= to) {
                continue;
            }
            const kernels::PrismRows prismRows{rows[from],
                                               rows.bytesPerLine / qsizetype(sizeof(std::uint32_t)),
                                               width,
                                               placement.x,
                                               sprites.spriteRows(placement.sprite) +
                                                   (from - placement.y),
                                               to - from,
                                               sprites.pixels[placement.sprite].data()};
            m_kernels.blendPrism(prismRows, paint);
        }
    }
}

} // namespace lumora::cubefield
