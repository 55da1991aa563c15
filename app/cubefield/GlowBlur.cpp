#include "cubefield/GlowBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace lumora::cubefield {

namespace {

// One box: the output at x averages the inputs from x - before to x + after.
struct Box {
    int before;
    int after;
};

std::array<Box, 3> boxesFor(double sigma) {
    const int d =
        std::max(1, int(std::floor(sigma * 3 * std::sqrt(2 * std::numbers::pi) / 4 + 0.5)));
    if (d % 2 == 1) {
        const Box centred{d / 2, d / 2};
        return {centred, centred, centred};
    }
    return {Box{d / 2, d / 2 - 1}, Box{d / 2 - 1, d / 2}, Box{d / 2, d / 2}};
}

// Box blur along one row of `count` samples, from `in` to `out`.
void boxRow(const float* in, float* out, int count, Box box) {
    const double scale = 1.0 / (box.before + box.after + 1);
    double sum = 0;
    for (int k = 0; k <= std::min(box.after, count - 1); ++k) {
        sum += in[k];
    }
    for (int x = 0; x < count; ++x) {
        out[x] = float(sum * scale);
        const int entering = x + 1 + box.after;
        const int leaving = x - box.before;
        if (entering < count) {
            sum += in[entering];
        }
        if (leaving >= 0) {
            sum -= in[leaving];
        }
    }
}

// Box blur down every column at once, row by row, so that memory is read in order.
void boxColumns(const float* in, float* out, int width, int height, Box box) {
    const double scale = 1.0 / (box.before + box.after + 1);
    std::vector<double> sums(width, 0.0);
    for (int k = 0; k <= std::min(box.after, height - 1); ++k) {
        const float* row = in + std::ptrdiff_t(k) * width;
        for (int x = 0; x < width; ++x) {
            sums[x] += row[x];
        }
    }
    for (int y = 0; y < height; ++y) {
        float* target = out + std::ptrdiff_t(y) * width;
        for (int x = 0; x < width; ++x) {
            target[x] = float(sums[x] * scale);
        }
        const int entering = y + 1 + box.after;
        const int leaving = y - box.before;
        if (entering < height) {
            const float* row = in + std::ptrdiff_t(entering) * width;
            for (int x = 0; x < width; ++x) {
                sums[x] += row[x];
            }
        }
        if (leaving >= 0) {
            const float* row = in + std::ptrdiff_t(leaving) * width;
            for (int x = 0; x < width; ++x) {
                sums[x] -= row[x];
            }
        }
    }
}

} // namespace

int blurReach(double sigma) {
    int reach = 0;
    for (const Box& box : boxesFor(sigma)) {
        reach += std::max(box.before, box.after);
    }
    return reach;
}

void blurPlane(float* plane, int width, int height, double sigma) {
    if (width <= 0 || height <= 0) {
        return;
    }
    std::vector<float> scratch(std::size_t(width) * height);
    for (const Box& box : boxesFor(sigma)) {
        for (int y = 0; y < height; ++y) {
            boxRow(plane + std::ptrdiff_t(y) * width, scratch.data() + std::ptrdiff_t(y) * width,
                   width, box);
        }
        boxColumns(scratch.data(), plane, width, height, box);
    }
}

} // namespace lumora::cubefield
