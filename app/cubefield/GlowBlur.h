#pragma once

// The blur of the glow layer. A Gaussian of standard deviation sigma is computed as three
// successive box blurs in each direction, the construction that browsers use for SVG and CSS
// blurs: box width d = floor(sigma * 3 * sqrt(2 pi) / 4 + 0.5); an odd d gives three centred
// boxes, an even d two boxes shifted half a pixel either way and one of width d + 1. It stays
// within about 3% of the true Gaussian and costs the same for any sigma. Samples outside the
// plane count as zero (a transparent layer), so a plane with `blurReach` empty pixels around its
// content blurs exactly as an unbounded one.
namespace lumora::cubefield {

// How far, in pixels, the blur spreads a single pixel in each direction.
int blurReach(double sigma);

// Blurs a single-channel plane of width x height floats in place, rows packed.
void blurPlane(float* plane, int width, int height, double sigma);

} // namespace lumora::cubefield
