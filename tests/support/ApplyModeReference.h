#pragma once

// CPU references of the blend modes and of the two main programs, in double precision, written
// from the formulas the modes are defined by (not from the shader sources).

#include <algorithm>
#include <cmath>

namespace zep6test {

struct V4 {
    double r, g, b, a;

    V4 operator+(const V4& o) const { return {r + o.r, g + o.g, b + o.b, a + o.a}; }
    V4 operator-(const V4& o) const { return {r - o.r, g - o.g, b - o.b, a - o.a}; }
    V4 operator*(const V4& o) const { return {r * o.r, g * o.g, b * o.b, a * o.a}; }
    V4 operator*(double s) const { return {r * s, g * s, b * s, a * s}; }
    V4 operator+(double s) const { return {r + s, g + s, b + s, a + s}; }
    V4 operator-(double s) const { return {r - s, g - s, b - s, a - s}; }
    double& operator[](int i) { return i == 0 ? r : i == 1 ? g : i == 2 ? b : a; }
    double operator[](int i) const { return i == 0 ? r : i == 1 ? g : i == 2 ? b : a; }
};

inline double Clamp01(double v) { return std::min(1.0, std::max(0.0, v)); }
inline V4 Clamp01(const V4& v) { return {Clamp01(v.r), Clamp01(v.g), Clamp01(v.b), Clamp01(v.a)}; }
inline V4 Mix(const V4& x, const V4& y, double m) { return x * (1.0 - m) + y * m; }
inline double Luma(const V4& p) { return p.r * 0.30 + p.g * 0.59 + p.b * 0.11; }
inline double Saturation(const V4& p) { return std::max({p.r, p.g, p.b}) - std::min({p.r, p.g, p.b}); }
inline double AlphaOver(const V4& fg, const V4& bg) { return fg.a + bg.a * (1.0 - fg.a); }

// Per channel of rgb; the alpha is given.
template <class F> V4 PerChannel(const V4& fg, const V4& bg, double alpha, F f) {
    return {f(fg.r, bg.r), f(fg.g, bg.g), f(fg.b, bg.b), alpha};
}

using ModeReference = V4 (*)(const V4& fg, const V4& bg);

namespace modes {

inline V4 Over(const V4& fg, const V4& bg) {
    return {fg.r * fg.a + bg.r * (1 - fg.a), fg.g * fg.a + bg.g * (1 - fg.a), fg.b * fg.a + bg.b * (1 - fg.a),
            fg.a + bg.a};
}
inline V4 Lighten(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) { return std::max(f, b); });
}
inline V4 Darken(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) { return std::min(f, b); });
}
inline V4 Multiply(const V4& fg, const V4& bg) { return fg * bg; }
inline V4 Screen(const V4& fg, const V4& bg) { return fg + bg * (V4{1, 1, 1, 1} - fg); }
inline V4 Difference(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) { return std::abs(f - b); });
}
inline V4 Lighter(const V4& fg, const V4& bg) { return Luma(fg) > Luma(bg) ? fg : bg; }
inline V4 Darker(const V4& fg, const V4& bg) { return Luma(fg) < Luma(bg) ? fg : bg; }
inline V4 ScaleMultiply(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, fg.a, [](double f, double b) { return f * b * 4; });
}
inline V4 ScaleScreen(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, fg.a, [](double f, double b) { return 2 * (f + b * (1 - f)) - 1; });
}
inline V4 ExpandDifference(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) { return std::abs(f - b) * 2; });
}
inline V4 ExpandDifference2(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) { return std::abs(f - b) * 4; });
}
inline V4 Add(const V4& fg, const V4& bg) { return fg + bg; }
inline V4 Subtract(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, fg.a, [](double f, double b) { return b - f; });
}
inline V4 Overlay(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg),
                      [](double f, double b) { return f < 0.5 ? 2 * b * f : 2 * (f + b * (1 - f)) - 1; });
}
inline V4 SoftLight(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg),
                      [](double f, double b) { return f + (b - 0.5) * (1 - f) * f * 2; });
}
inline V4 HardLight(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, AlphaOver(fg, bg), [](double f, double b) {
        const double m = f * b, s = f + b - m;
        return b > 0.5 ? f + (s - f) * (b - 0.5) * 0.5 : f + (m - f) * (0.5 - b) * 0.5;
    });
}

inline double MaxSatRatio(double l, double d) { return d > 0 ? (1 - l) / d : -l / d; }
inline double LimitRatio(double ratio, double l, const V4& delta) {
    if (ratio > 1)
        for (int c = 0; c < 3; ++c)
            if (delta[c] > 0)
                ratio = std::min(ratio, MaxSatRatio(l, delta[c]));
    return ratio;
}
inline double ClipFactor(double l, double d) {
    if (l + d > 1)
        return (1 - l) / d;
    if (l + d < 0)
        return -l / d;
    return 1;
}

inline V4 Hue(const V4& fg, const V4& bg) {
    const V4 bgDelta = bg - Luma(bg);
    if (Saturation(bg) > 0) {
        const double ratio = LimitRatio(Saturation(fg) / Saturation(bg), Luma(fg), bgDelta);
        const V4 delta = bgDelta * ratio;
        return delta + (Luma(fg) - Luma(delta));
    }
    const double l = Luma(fg);
    return {l, l, l, 0};
}
inline V4 SaturationMode(const V4& fg, const V4& bg) {
    V4 result = fg;
    if (Saturation(fg) > 0) {
        const V4 fgDelta = fg - Luma(fg);
        const double ratio = LimitRatio(Saturation(bg) / Saturation(fg), Luma(fg), fgDelta);
        const V4 delta = fgDelta * ratio;
        result = delta + (Luma(fg) - Luma(delta));
    }
    result.a = fg.a + bg.a;
    return Clamp01(result);
}
inline V4 ColorMode(const V4& fg, const V4& bg) {
    V4 bgDelta = bg - Luma(bg);
    const double l = Luma(fg);
    const double clip =
        std::min({ClipFactor(l, bgDelta.r), ClipFactor(l, bgDelta.g), ClipFactor(l, bgDelta.b)});
    if (clip < 1)
        bgDelta = bgDelta * clip;
    V4 result = bgDelta + (l - Luma(bgDelta));
    result.a = fg.a + bg.a;
    return result;
}
inline V4 Luminosity(const V4& fg, const V4& bg) {
    const double lf = Luma(fg);
    if (lf > 0) {
        const double lb = Luma(bg);
        if (lb > 0)
            return {Clamp01(bg.r * lf / lb), Clamp01(bg.g * lf / lb), Clamp01(bg.b * lf / lb), bg.a};
        return {Clamp01(lf), Clamp01(lf), Clamp01(lf), fg.a};
    }
    return {0, 0, 0, 0};
}
inline V4 Transparency(const V4& fg, const V4& bg) { return {bg.r, bg.g, bg.b, std::max(0.0, bg.a - fg.a)}; }
inline V4 Opacity(const V4& fg, const V4& bg) { return {bg.r, bg.g, bg.b, std::min(1.0, bg.a + fg.a)}; }
inline V4 MoreGray(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, bg.a,
                      [](double f, double b) { return std::abs(b - 0.5) < std::abs(f - 0.5) ? b : f; });
}
inline V4 LeastGray(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, bg.a,
                      [](double f, double b) { return std::abs(b - 0.5) > std::abs(f - 0.5) ? b : f; });
}
inline V4 ReverseSubtract(const V4& fg, const V4& bg) {
    return PerChannel(fg, bg, Clamp01(fg.a + bg.a), [](double f, double b) { return f >= b ? f - b : 0.0; });
}
inline V4 Front(const V4& fg, const V4&) { return fg; }
// rand() is 0 here: the test seeds it with (0, 0).
inline V4 SoftDissolveUnseeded(const V4& fg, const V4& bg) {
    return bg.a + 0.0 >= 1.0001 ? fg * fg.a + bg * (1 - fg.a) : fg;
}
inline V4 None(const V4&, const V4&) { return {0, 0, 0, 0}; }
inline V4 Back(const V4&, const V4& bg) { return bg; }
inline V4 Under(const V4& fg, const V4& bg) {
    return {bg.r * bg.a + fg.r * (1 - bg.a), bg.g * bg.a + fg.g * (1 - bg.a), bg.b * bg.a + fg.b * (1 - bg.a),
            fg.a + bg.a};
}

} // namespace modes

// The pixels a mode receives are float values, rounded after each step of the main program;
// the references round them the same way, so that a comparison inside a mode (nearer to grey,
// brighter) is judged on the values the mode really sees. Everything after is exact.
inline double F(double v) { return static_cast<double>(static_cast<float>(v)); }

// The straight main: premultiplied inputs, mixed with their clamped sum, clamped, unpremultiplied.
inline V4 StraightMain(V4 fg, V4 bg, double mix, ModeReference apply) {
    fg = {F(fg.r * fg.a), F(fg.g * fg.a), F(fg.b * fg.a), fg.a};
    bg = {F(bg.r * bg.a), F(bg.g * bg.a), F(bg.b * bg.a), bg.a};
    const V4 og = Clamp01(fg + bg);
    V4 result = Clamp01(Mix(og, apply(fg, bg), mix));
    if (result.a > 0)
        result = {result.r / result.a, result.g / result.a, result.b / result.a, result.a};
    return result;
}

// The light main: the front is light of brightness max(r, g, b).
inline V4 LightMain(V4 fg, V4 bg, double mix, ModeReference apply) {
    fg.a = std::max({fg.r, fg.g, fg.b});
    if (!(fg.a > 0))
        return {fg.r, fg.g, fg.b, 0};
    fg = Clamp01(fg);
    bg = {F(F(bg.r * bg.a) * F(1 - fg.r)), F(F(bg.g * bg.a) * F(1 - fg.g)), F(F(bg.b * bg.a) * F(1 - fg.b)),
          bg.a};
    V4 result = Mix(bg, Clamp01(apply(fg, bg)), mix);
    if (result.a > 0)
        result = {result.r / result.a, result.g / result.a, result.b / result.a, result.a};
    return result;
}

} // namespace zep6test
