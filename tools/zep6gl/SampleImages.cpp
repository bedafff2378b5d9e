#include "SampleImages.h"

#include "core/PixelFormat.h"

#include <algorithm>
#include <cmath>

namespace zep6gl {

namespace {

HostImage MakeRgba8(long width, long height) {
    return HostImage(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), 32, 255, width, height, 0,
                     /*bottomUp=*/false);
}

unsigned char Byte(double v) {
    return static_cast<unsigned char>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

void Put(HostImage& image, long x, long y, double r, double g, double b, double a) {
    unsigned char* p = image.Row(y) + x * 4;
    p[0] = Byte(r);
    p[1] = Byte(g);
    p[2] = Byte(b);
    p[3] = Byte(a);
}

double SmoothStep(double edge0, double edge1, double v) {
    const double t = std::clamp((v - edge0) / (edge1 - edge0), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// Fully saturated colour of a hue in [0, 1): the six sectors of the colour hexagon.
void HueColour(double hue, double& r, double& g, double& b) {
    const double h = hue * 6.0;
    const double x = 1.0 - std::abs(std::fmod(h, 2.0) - 1.0);
    switch (static_cast<int>(h) % 6) {
    case 0:
        r = 1, g = x, b = 0;
        break;
    case 1:
        r = x, g = 1, b = 0;
        break;
    case 2:
        r = 0, g = 1, b = x;
        break;
    case 3:
        r = 0, g = x, b = 1;
        break;
    case 4:
        r = x, g = 0, b = 1;
        break;
    default:
        r = 1, g = 0, b = x;
        break;
    }
}

} // namespace

HostImage MakeColourWheel(long size) {
    HostImage image = MakeRgba8(size, size);
    const double centre = (size - 1) * 0.5;
    const double radius = size * 0.5 * 0.94;
    const double pi = std::acos(-1.0);
    for (long y = 0; y < size; ++y) {
        for (long x = 0; x < size; ++x) {
            const double dx = x - centre, dy = centre - y;
            const double d = std::sqrt(dx * dx + dy * dy) / radius;
            double hue = std::atan2(dy, dx) / (2.0 * pi);
            if (hue < 0)
                hue += 1.0;
            double r, g, b;
            HueColour(hue, r, g, b);
            const double saturation = std::min(1.0, d);
            const double alpha = 1.0 - SmoothStep(0.55, 1.0, d);
            Put(image, x, y, 1.0 + (r - 1.0) * saturation, 1.0 + (g - 1.0) * saturation,
                1.0 + (b - 1.0) * saturation, alpha);
        }
    }
    return image;
}

HostImage MakeBackdrop(long size, long square) {
    HostImage image = MakeRgba8(size, size);
    const double corners[4][3] = {
        {0.10, 0.35, 0.95}, // top left: blue
        {1.00, 0.55, 0.10}, // top right: orange
        {0.15, 0.80, 0.35}, // bottom left: green
        {0.85, 0.20, 0.65}, // bottom right: magenta
    };
    const double fadeStart = size * 0.75;
    for (long y = 0; y < size; ++y) {
        const double v = size > 1 ? double(y) / (size - 1) : 0.0;
        const double alpha =
            y < fadeStart ? 1.0 : 1.0 - (y - fadeStart) / std::max(1.0, size - 1 - fadeStart);
        for (long x = 0; x < size; ++x) {
            const double u = size > 1 ? double(x) / (size - 1) : 0.0;
            const double shade = ((x / square) + (y / square)) % 2 ? 0.6 : 1.0;
            double c[3];
            for (int k = 0; k < 3; ++k) {
                const double top = corners[0][k] + (corners[1][k] - corners[0][k]) * u;
                const double bottom = corners[2][k] + (corners[3][k] - corners[2][k]) * u;
                c[k] = (top + (bottom - top) * v) * shade;
            }
            Put(image, x, y, c[0], c[1], c[2], alpha);
        }
    }
    return image;
}

HostImage MakeCheckerboard(long width, long height, long square) {
    HostImage image = MakeRgba8(width, height);
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x) {
            const double grey = ((x / square) + (y / square)) % 2 ? 0.40 : 0.60;
            Put(image, x, y, grey, grey, grey, 1.0);
        }
    return image;
}

} // namespace zep6gl
