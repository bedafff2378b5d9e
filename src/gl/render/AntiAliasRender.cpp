#include "gl/render/AntiAliasRender.h"

#include "gl/context/EntryPoints.h"
#include "gl/render/EffectProgram.h"
#include "gl/render/GLSL.h"
#include "gl/render/Geometry.h"
#include "gl/resources/TextureBuffer.h"
#include "gl/state/AlphaFunc.h"
#include "gl/state/Blend.h"
#include "gl/state/Capability.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "gl/state/ColorMask.h"
#include "gl/state/DepthFunc.h"
#include "gl/state/Push.h"
#include "gl/state/Texturing.h"
#include "gl/state/ViewArea.h"
#include "gl/targets/RenderedTexture.h"
#include "gl/targets/TiledBuffer.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cmath>

namespace OGL_ZEP6_AE {

namespace {

// Sub-pixel jitter tables: entry (x, y) in the unit square, one per pass, used last entry first.
const p2f kJitter1[] = {{0.5f, 0.5f}};
const p2f kJitter2[] = {{0.25f, 0.75f}, {0.75f, 0.25f}};
const p2f kJitter3[] = {{0.503392f, 0.831797f}, {0.780602f, 0.250438f}, {0.226183f, 0.413155f}};
const p2f kJitter4[] = {{0.375f, 0.25f}, {0.125f, 0.75f}, {0.875f, 0.25f}, {0.625f, 0.75f}};
const p2f kJitter5[] = {{0.5f, 0.5f}, {0.3f, 0.1f}, {0.7f, 0.9f}, {0.9f, 0.3f}, {0.1f, 0.7f}};
const p2f kJitter6[] = {{0.464646f, 0.464646f}, {0.131313f, 0.79798f}, {0.535354f, 0.868687f},
                        {0.868687f, 0.535354f}, {0.79798f, 0.131313f},  {0.20202f, 0.20202f}};
const p2f kJitter7[] = {{0.450223f, 0.443336f}, {0.027727f, 0.931875f}, {0.929769f, 0.281091f},
                        {0.808013f, 0.979545f}, {0.026077f, 0.020752f}, {0.437547f, 0.899313f},
                        {0.043118f, 0.544282f}};
const p2f kJitter8[] = {{0.5625f, 0.4375f}, {0.0625f, 0.9375f}, {0.3125f, 0.6875f}, {0.6875f, 0.8125f},
                        {0.8125f, 0.1875f}, {0.9375f, 0.5625f}, {0.4375f, 0.0625f}, {0.1875f, 0.3125f}};
const p2f kJitter12[] = {{5.0f / 12, 0.625f}, {11.0f / 12, 0.875f}, {0.25f, 0.375f},     {5.0f / 12, 0.125f},
                         {0.75f, 0.125f},     {1.0f / 12, 0.125f},  {0.75f, 0.625f},     {0.25f, 0.875f},
                         {7.0f / 12, 0.375f}, {11.0f / 12, 0.375f}, {1.0f / 12, 0.625f}, {7.0f / 12, 0.875f}};
const p2f kJitter16[] = {{0.375f, 0.4375f}, {0.625f, 0.0625f}, {0.875f, 0.1875f}, {0.125f, 0.0625f},
                         {0.375f, 0.6875f}, {0.875f, 0.4375f}, {0.625f, 0.5625f}, {0.375f, 0.9375f},
                         {0.625f, 0.3125f}, {0.125f, 0.5625f}, {0.125f, 0.8125f}, {0.375f, 0.1875f},
                         {0.875f, 0.9375f}, {0.875f, 0.6875f}, {0.125f, 0.3125f}, {0.625f, 0.8125f}};

// The jitter table of n passes (n is 1 ... 8, 12 or 16).
const p2f* JitterTable(int n) {
    switch (n) {
    case 2: return kJitter2;
    case 3: return kJitter3;
    case 4: return kJitter4;
    case 5: return kJitter5;
    case 6: return kJitter6;
    case 7: return kJitter7;
    case 8: return kJitter8;
    case 12: return kJitter12;
    case 16: return kJitter16;
    default: return kJitter1;
    }
}

// Points across the lens, the first n of which serve n passes of lens jitter (n is 2 ... 7).
const p2f kLens[] = {{0.557916f, 0.461737f}, {0.036424f, 0.679505f}, {0.608759f, 0.978331f},
                     {0.152589f, 0.246784f}, {0.51141f, 0.002114f},  {0.96754f, 0.660178f},
                     {0.90536f, 0.216689f}};

constexpr float kDefaultNear = 10.0f;
constexpr float kDefaultFar = 10000.0f;
constexpr int kMaxLensPasses = 7;
constexpr double kPi = 3.14159265358979323846;

// Depth-of-field amounts: negative, NaN and infinite values mean none.
float Usable(float value) {
    return std::isfinite(value) && value > 0.0f ? value : 0.0f;
}

// Coverage of a sample at `offset` by a circle of radius R, with a one-pixel soft edge: full
// inside R - 0.5, none beyond R + 0.5, the fraction of the edge pixel in between.
const char* const kCoverageSource = R"glsl(
float coverage(vec2 offset, float R)
{
    float q = dot(offset, offset);
    if (q <= (R - 0.5) * (R - 0.5))
        return 1.0;
    if (q <= (R + 0.5) * (R + 0.5)) {
        vec2 a = abs(offset) * R / sqrt(q);
        return fract(max(a.x, a.y) + 0.5);
    }
    return 0.0;
}
)glsl";

// Circle of confusion per pixel, for one stripe direction: (1 - depth, radius / dofFar,
// 1 / stripe area, 1), depth 1 - depth; pixels with nothing drawn (depth 0 or 1) are zero.
const char* const kCocSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect depth_source;
uniform float dofNear;
uniform float dofFar;
uniform float dofFocus;
uniform float dofAperture;
uniform vec2 axis;

float coverage(vec2 offset, float R);

void main()
{
    float d = texture2DRect(depth_source, gl_FragCoord.st).x;
    if (d <= 0.0 || d >= 1.0) {
        gl_FragColor = vec4(0.0);
        gl_FragDepth = 1.0;
        return;
    }
    float z = 2.0 * dofNear * dofFar / (dofFar + dofNear - (2.0 * d - 1.0) * (dofFar - dofNear));
    float k = 1.0 + abs(z - dofFocus) * dofAperture / (4.0 * z);
    float radius = (smoothstep(-200.0, 200.0, k) - 0.5) * 100.0;
    vec2 stepv = axis / max(abs(axis.x), abs(axis.y));
    float area = 1.0;
    float n = ceil(radius);
    for (float i = 1.0; i <= n; i += 1.0)
        area += 2.0 * coverage(stepv * i, radius);
    gl_FragColor = vec4(1.0 - d, radius / dofFar, 1.0 / area, 1.0);
    gl_FragDepth = 1.0 - d;
}
)glsl";

// One stripe of the hexagonal blur: every sample along the axis within `radius` whose own circle
// reaches this pixel adds its colour, spread over its stripe area; samples behind what was
// already gathered count only while the sum is not yet opaque. Reads past the viewport (`limit`)
// take its edge pixel, as every blur of the library does.
const char* const kStripeSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect color_source;
uniform sampler2DRect depth_source;
uniform float dofFar;
uniform float radius;
uniform vec2 axis;
uniform vec2 limit;

float coverage(vec2 offset, float R);

void visit(vec2 offset, inout vec4 sum, inout float nearest)
{
    vec2 p = clamp(gl_FragCoord.st + offset, vec2(0.5), limit - 0.5);
    vec4 d = texture2DRect(depth_source, p);
    if (d.b == 0.0)
        return;
    float c = coverage(offset, d.g * dofFar);
    if (c == 0.0)
        return;
    if (d.r >= nearest || sum.a < 1.0) {
        sum += texture2DRect(color_source, p) * (c * d.b);
        nearest = max(nearest, d.r);
    }
}

void main()
{
    vec2 stepv = axis / max(abs(axis.x), abs(axis.y));
    vec4 sum = vec4(0.0);
    float nearest = -1.0;
    visit(vec2(0.0), sum, nearest);
    float n = ceil(radius);
    for (float k = 1.0; k <= n; k += 1.0) {
        visit(stepv * k, sum, nearest);
        visit(-stepv * k, sum, nearest);
    }
    gl_FragColor = clamp(sum, 0.0, 1.0);
    gl_FragDepth = nearest >= 0.0 ? 1.0 - nearest : 1.0;
}
)glsl";

// Depth smoothing along one axis: the colour is kept; a drawn pixel's depth becomes the mean
// depth of the drawn pixels within `radius` along the axis; an empty pixel gets depth 1.
const char* const kSmoothSource = R"glsl(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect color_source;
uniform sampler2DRect depth_source;
uniform float radius;
uniform vec2 axis;
uniform vec2 limit;

void main()
{
    vec2 p = gl_FragCoord.st;
    vec4 colour = texture2DRect(color_source, p);
    float depth = texture2DRect(depth_source, p).x;
    gl_FragColor = colour;
    if (depth < 1.0 && colour.a > 0.0) {
        float sum = depth;
        float count = 1.0;
        for (float k = 1.0; k <= radius; k += 1.0) {
            for (float side = -1.0; side <= 1.0; side += 2.0) {
                vec2 q = clamp(p + axis * (k * side), vec2(0.5), limit - 0.5);
                float d = texture2DRect(depth_source, q).x;
                if (d < 1.0 && texture2DRect(color_source, q).a > 0.0) {
                    sum += d;
                    count += 1.0;
                }
            }
        }
        gl_FragDepth = sum / count;
    } else {
        gl_FragDepth = 1.0;
    }
}
)glsl";

GLSL::Shader sCoverageShader(GL_FRAGMENT_SHADER, kCoverageSource);
GLSL::Shader sCocShader(GL_FRAGMENT_SHADER, kCocSource);
GLSL::Shader sStripeShader(GL_FRAGMENT_SHADER, kStripeSource);
GLSL::Shader sSmoothShader(GL_FRAGMENT_SHADER, kSmoothSource);

// Process-wide; like every effect program they build themselves again after a shutdown. Their
// uniforms are looked up by name at each use: a shutdown deletes them with the program.
EffectProgram sCocProgram(&sCocShader, &sCoverageShader);
EffectProgram sStripeProgram(&sStripeShader, &sCoverageShader);
EffectProgram sSmoothProgram(&sSmoothShader);

// Binds `colour`'s colour on unit 0 (when given) and `depth`'s depth texture on the next unit,
// both sampled nearest. Every target of a render has a depth texture when its source has one (the
// blur checks that first). The caller holds Push<TextureUnits>.
void BindColourAndDepth(const RenderedTexture* colour, const RenderedTexture* depth) {
    if (colour != nullptr) {
        TextureUnit::Activate(GL_TEXTURE0);
        colour->Apply();
        colour->ApplyNearest();
    }
    TextureUnit::Activate(colour != nullptr ? GL_TEXTURE1 : GL_TEXTURE0);
    depth->ApplyDepth();
    const unsigned int target = depth->DepthBuffer()->Key().Target();
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
}

// The translation (x, y) in normalised device coordinates put in front of the current matrix
// of that kind (T * M): it moves the picture, whatever the matrix does.
template <class M> void PremultiplyTranslation(float x, float y) {
    M matrix;
    matrix.Retrieve();
    for (int column = 0; column < 4; ++column) {
        matrix.m[column * 4 + 0] += x * matrix.m[column * 4 + 3];
        matrix.m[column * 4 + 1] += y * matrix.m[column * 4 + 3];
    }
    matrix.Apply();
}

// Depth tests that always pass and still write depth.
DepthFunc AlwaysWriting() {
    DepthFunc always(GL_ALWAYS);
    always.flag = true;
    return always;
}

void MakeTarget(RenderedTexture*& target, int width, int height) {
    if (target == nullptr)
        target = new RenderedTexture();
    const bool changed = target->Width() != width || target->Height() != height || target->ColorBuffer() == nullptr;
    target->ResizeStorage(width, height, GL_RGBA, GL_FLOAT);
    if (changed)
        target->Clear();
}

} // namespace

AntiAliasRender::AntiAliasRender(int quality, float focus, float aperture)
    : quality_(quality), viewportWidth_(0.0f), viewportHeight_(0.0f), dofNear_(kDefaultNear), dofFar_(kDefaultFar),
      dofAperture_(Usable(aperture)), dofFocus_(Usable(focus)), dofSmooth_(0.0f), lensJitter_(false), pass_(0),
      passes_(1), postBlur_(0.0f), aaJitter_(kJitter1), passTarget_(nullptr), smoothTarget_(nullptr),
      cocTarget_(nullptr), blurTargets_{nullptr, nullptr}, noRegionYet_(true), state_(2) {
    SetJitters(quality);
}

AntiAliasRender::~AntiAliasRender() {
    try {
        // A frame left unfinished gets its state back, unless an enclosing scope (the tile loop
        // ending first) has already restored an older state below it.
        if (state_.attributes.IsPushed()) {
            try {
                if (state_.attributes.IsLevelOnStack())
                    state_.Apply();
            } catch (...) {
            }
            state_.Pop();
        }
        Finalize();
    } catch (...) {
    }
}

void AntiAliasRender::Initialize(int quality, float focus, float aperture, float smooth, float zNear, float zFar,
                                 bool lensJitter) {
    quality_ = quality;
    dofFocus_ = Usable(focus);
    dofAperture_ = Usable(aperture);
    SetDofSmmooth(smooth);
    lensJitter_ = lensJitter;
    SetClip(zNear, zFar);
    SetJitters(quality);
    Finalize();
}

void AntiAliasRender::SetDofSmmooth(float smooth) {
    // Each pixel averages up to twice this many depths: held within reason.
    dofSmooth_ = std::min(Usable(smooth), kMaxSmooth);
}

int AntiAliasRender::TileMargin() const {
    if (!BlursAfterPasses())
        return 0;
    // The widest reach any drawn depth can give, for each of the three stripes, plus the two
    // smoothing passes.
    float smallest = 0.0f, largest = 0.0f;
    CoCFromDepth(StripeLength(postBlur_), 0.0f, 1.0f, smallest, largest);
    const int reach = static_cast<int>(std::ceil(largest / 2.0f)) + 1;
    return 3 * reach + static_cast<int>(std::ceil(dofSmooth_)) + 1;
}

void AntiAliasRender::SetClip(double zNear, double zFar) {
    if (std::isfinite(zNear) && std::isfinite(zFar) && zNear > 0.0 && zFar > zNear) {
        dofNear_ = static_cast<float>(zNear);
        dofFar_ = static_cast<float>(zFar);
    }
}

void AntiAliasRender::SetJitters(int quality) {
    int count = 1;
    switch (quality) {
    case 1: count = 4; break;
    case 2: count = 6; break;
    case 3: count = 8; break;
    case 4: count = 12; break;
    case 5: count = 16; break;
    default: break;
    }
    lensSamples_.clear();
    if (lensJitter_ && dofAperture_ != 0.0f && dofFocus_ != 0.0f) {
        const float m = std::max(CoCFromDistance(dofAperture_, dofFar_), CoCFromDistance(dofAperture_, dofNear_));
        const float wanted = std::max(static_cast<float>(count), std::sqrt(std::max(m, 0.0f)));
        passes_ = std::clamp(static_cast<int>(wanted), 1, kMaxLensPasses);
        if (passes_ == 1)
            lensSamples_.push_back(p2f(0.5f, 0.5f));
        else
            lensSamples_.assign(kLens, kLens + passes_);
        postBlur_ = 0.0f;
    } else {
        passes_ = count;
        postBlur_ = dofAperture_;
    }
    aaJitter_ = JitterTable(passes_);
    pass_ = 0;
}

p2f AntiAliasRender::JitterOf(int k) const {
    if (k < 1 || k > passes_)
        return p2f(0.5f, 0.5f);
    return aaJitter_[passes_ - k];
}

p2f AntiAliasRender::LensSampleOf(int k) const {
    if (k < 1 || k > passes_ || lensSamples_.size() != static_cast<size_t>(passes_))
        return p2f(0.5f, 0.5f);
    return lensSamples_[static_cast<size_t>(passes_ - k)];
}

float AntiAliasRender::CoCFromDistance(float aperture, float z) const {
    const float k = aperture == 0.0f ? 1.0f : std::fabs(z - dofFocus_) * aperture / (4.0f * z) + 1.0f;
    if (k < -200.0f)
        return -100.0f;
    if (!(k < 200.0f)) // also NaN, from z = 0
        return 100.0f;
    const float t = (k + 200.0f) * 0.0025f;
    return ((3.0f - 2.0f * t) * t * t - 0.5f) * 200.0f;
}

float AntiAliasRender::ZFromDepth(float depth) const {
    return 2.0f * dofNear_ * dofFar_ / (dofFar_ + dofNear_ - (2.0f * depth - 1.0f) * (dofFar_ - dofNear_));
}

void AntiAliasRender::CoCFromDepth(float aperture, float depth1, float depth2, float& minimum, float& maximum) const {
    const float z1 = ZFromDepth(std::min(depth1, depth2));
    const float z2 = ZFromDepth(std::max(depth1, depth2));
    const float c1 = CoCFromDistance(aperture, z1);
    const float c2 = CoCFromDistance(aperture, z2);
    maximum = std::max(c1, c2);
    minimum = (z1 < dofFocus_ && dofFocus_ < z2) ? 0.0f : std::min(c1, c2);
}

float AntiAliasRender::StripeLength(float amount) {
    return amount * 0.517638f;
}

float AntiAliasRender::StripeAngle(int stripe) {
    return static_cast<float>(kPi / 4.0 + stripe * kPi / 3.0);
}

void AntiAliasRender::AddRegion(const Region3d& box) {
    if (!box.IsValid())
        return;
    const Region3d ordered = (Region3d() | box.minimum | box.maximum).Grow(p3f(1.0f, 1.0f, 0.0f));
    region_ = noRegionYet_ ? ordered : (region_ | ordered);
    noRegionYet_ = false;
}

Region3d AntiAliasRender::GetRegion() const {
    const Region3d view(p3f(0.0f, 0.0f, 0.0f), p3f(viewportWidth_, viewportHeight_, 1.0f));
    return noRegionYet_ ? view : (region_ & view);
}

void AntiAliasRender::ReadViewport() {
    ViewArea area;
    area.Retrieve();
    viewportWidth_ = static_cast<float>(std::max(area.viewport[2], 0));
    viewportHeight_ = static_cast<float>(std::max(area.viewport[3], 0));
}

// Several passes, or one pass that the post-process blur finishes: drawing goes through the pass
// target. Otherwise (one pass, no post-process blur) the caller draws straight into its own
// framebuffer and nothing is set up.
bool AntiAliasRender::NeedsPassTarget() const {
    return passes_ >= 2 || BlursAfterPasses();
}

bool AntiAliasRender::BlursAfterPasses() const {
    return !lensJitter_ && postBlur_ != 0.0f;
}

bool AntiAliasRender::HasTargets() const {
    for (const RenderedTexture* t : {passTarget_, smoothTarget_, cocTarget_, blurTargets_[0], blurTargets_[1]})
        if (t != nullptr && t->ColorBuffer() != nullptr)
            return true;
    return false;
}

void AntiAliasRender::Finalize() {
    for (RenderedTexture** t : {&passTarget_, &smoothTarget_, &cocTarget_, &blurTargets_[0], &blurTargets_[1]}) {
        delete *t;
        *t = nullptr;
    }
}

void AntiAliasRender::RestoreState() {
    if (IsEffective() && state_.attributes.IsPushed())
        state_.Apply();
}

bool AntiAliasRender::Next() {
    if (pass_ == 0) {
        // Read at the start of every frame: the tiles of one image differ in size.
        ReadViewport();
        if (viewportWidth_ < 1.0f || viewportHeight_ < 1.0f)
            return false;
    }
    if (!NeedsPassTarget()) {
        pass_ = pass_ == 0 ? 1 : 0;
        return pass_ != 0;
    }

    // The caller's framebuffer and the state of the frame's start (just captured at a new frame).
    if (pass_ == 0)
        StartFrame();
    else
        state_.Apply();
    if (pass_ != 0 && passes_ >= 2)
        Accumulate();

    if (pass_ >= passes_) {
        if (BlursAfterPasses()) {
            const Region3d region = GetRegion();
            if (region.IsValid() && Region(region).IsValid()) {
                // With several passes the blur reads the accumulated (anti-aliased) frame, not the
                // last pass alone: the frame is copied back into the pass target first.
                if (passes_ >= 2)
                    CopyAccumulated();
                AddRegion(RenderDofBlur(passTarget_, postBlur_, region));
            }
        }
        state_.Pop();
        pass_ = 0;
        return false;
    }

    // Another pass: drawn into the pass target under the frame's matrices, over a cleared box.
    passTarget_->MakeCurrent();
    state_.ApplyProjectionMatrix();
    state_.ApplyModelMatrix();
    ClearAllBuffers(Region(GetRegion()), Color::Transparent, 1.0f);
    if (pass_ == 0) {
        // The box of this frame is built anew by the caller's AddRegion calls.
        noRegionYet_ = true;
        region_.Reset();
    }
    ++pass_;
    return true;
}

// A new frame: the drawn box of the caller's framebuffer is cleared, the state captured and the
// targets made at the viewport's size (cleared where they are new or resized).
void AntiAliasRender::StartFrame() {
    ClearAllBuffers(Region(GetRegion()), Color::Transparent, 1.0f);
    state_.Retrieve();
    const int width = static_cast<int>(viewportWidth_);
    const int height = static_cast<int>(viewportHeight_);
    MakeTarget(passTarget_, width, height);
    if (BlursAfterPasses()) {
        MakeTarget(smoothTarget_, width, height);
        MakeTarget(cocTarget_, width, height);
        MakeTarget(blurTargets_[0], width, height);
        MakeTarget(blurTargets_[1], width, height);
    }
}

// The pass just drawn is added into the caller's framebuffer (bound now) with weight 1 / passes,
// depth included; pixels where the pass drew nothing are left alone.
void AntiAliasRender::Accumulate() {
    Push<BlendFunc> blend(BlendFunc::Add);
    Push<DepthFunc> depth(AlwaysWriting());
    Push<AlphaFunc> alpha(AlphaFunc::Default);
    passTarget_->BlitWithDepth(Region(GetRegion()), 1.0f / static_cast<float>(passes_));
}

// Copies the drawn box of the caller's framebuffer (bound now), colour and depth, into the pass
// target.
void AntiAliasRender::CopyAccumulated() {
    const Region area(GetRegion());
    if (!area.IsValid() || passTarget_->ColorBuffer() == nullptr)
        return;
    Push<TextureUnits> units;
    TextureUnit::Activate(GL_TEXTURE0);
    passTarget_->Apply();
    const GLsizei w = static_cast<GLsizei>(area.width);
    const GLsizei h = static_cast<GLsizei>(area.height);
    glCopyTexSubImage2D(passTarget_->ColorBuffer()->Key().Target(), 0, area.x, area.y, area.x, area.y, w, h);
    GLint depthBits = 0;
    glGetIntegerv(GL_DEPTH_BITS, &depthBits);
    if (passTarget_->DepthBuffer() != nullptr && depthBits > 0) {
        passTarget_->ApplyDepth();
        glCopyTexSubImage2D(passTarget_->DepthBuffer()->Key().Target(), 0, area.x, area.y, area.x, area.y, w, h);
    }
}

void AntiAliasRender::Perspective(TiledBuffer& tile, float left, float right, float bottom, float top, float zNear,
                                  float zFar) {
    SetClip(zNear, zFar);
    p2f eye;
    p2f shift;
    if (lensJitter_ && dofFocus_ != 0.0f && dofAperture_ != 0.0f && pass_ >= 1 && passes_ > 1) {
        const p2f lens = LensSampleOf(pass_);
        const float s = static_cast<float>(tile.Width()) * dofAperture_ / (2.0f * dofFocus_ * dofNear_);
        eye = p2f((lens.x - 0.5f) * s, (lens.y - 0.5f) * s);
        // The eye offset projected from the focus distance onto the near plane: points at the
        // focus distance stay where they are from pass to pass.
        shift = eye * (dofNear_ / dofFocus_);
    }
    tile.Perspective(left + shift.x, right + shift.x, bottom + shift.y, top + shift.y, dofNear_, dofFar_);
    JitterProjection();
    if (eye.x != 0.0f || eye.y != 0.0f)
        PremultiplyTranslation<ModelMatrix>(eye.x, eye.y);
}

void AntiAliasRender::Orthogonal(TiledBuffer& tile, double zNear, double zFar) {
    SetClip(zNear, zFar);
    tile.Orthogonal(zNear, zFar);
    JitterProjection();
}

// The pass's sub-pixel offset, in normalised device coordinates so that it moves the picture by
// the same fraction of a pixel under any projection: (j - 0.5) pixels in x and y.
void AntiAliasRender::JitterProjection() const {
    if (pass_ < 1 || passes_ < 2 || viewportWidth_ < 1.0f || viewportHeight_ < 1.0f)
        return;
    const p2f j = JitterOf(pass_);
    PremultiplyTranslation<ProjectionMatrix>((j.x - 0.5f) * 2.0f / viewportWidth_,
                                             (j.y - 0.5f) * 2.0f / viewportHeight_);
}

// The post-process depth of field, from `source` (colour and depth) into the framebuffer bound
// now. Returns the box it wrote (the drawn box grown by the three stripes' reach).
Region3d AntiAliasRender::RenderDofBlur(RenderedTexture* source, float amount, const Region3d& region) {
    if (!region.IsValid() || source == nullptr || source->DepthBuffer() == nullptr)
        return Region3d();
    const float length = StripeLength(amount);
    float smallest = 0.0f;
    float largest = 0.0f;
    CoCFromDepth(length, region.minimum.z, region.maximum.z, smallest, largest);
    const float reach = std::ceil(largest / 2.0f) + 1.0f;

    PushState saved;
    RasterProjection(static_cast<int>(viewportWidth_), static_cast<int>(viewportHeight_));
    BlendFunc::Replace.Apply();
    AlphaFunc::Default.Apply();
    Capability::Disable(GL_CULL_FACE);
    Capability::Disable(GL_LIGHTING);
    GLint clipPlanes = 0;
    glGetIntegerv(GL_MAX_CLIP_PLANES, &clipPlanes);
    for (GLint i = 0; i < clipPlanes; ++i)
        Capability::Disable(GL_CLIP_PLANE0 + static_cast<unsigned int>(i));
    DepthFunc::EnableWrite(GL_ALWAYS);
    ColorMask::AllChannels.Apply();

    // Everything the three stripes read lies within this box: clearing it in the intermediate
    // targets keeps earlier frames out.
    const float margin = 3.0f * reach + 2.0f;
    const Region3d reads = region.Grow(p3f(margin, margin, 0.0f));

    RenderedTexture* from = source;
    if (dofSmooth_ != 0.0f) {
        SmoothDepth(source, Region(reads));
        from = smoothTarget_;
    }
    Region3d result = region;
    for (int stripe = 0; stripe < 3; ++stripe) {
        PushFrameBuffer destination;
        if (stripe < 2) {
            blurTargets_[stripe]->MakeCurrent();
            ClearAllBuffers(Region(reads), Color::Transparent, 1.0f);
        }
        result = RenderDofStripeBlur(from, length, StripeAngle(stripe), result);
        from = blurTargets_[stripe < 2 ? stripe : 0];
    }
    return result;
}

void AntiAliasRender::SmoothDepth(RenderedTexture* source, const Region& area) {
    const int reach = static_cast<int>(std::ceil(dofSmooth_));
    const Region first(area.x, area.y - reach, area.width, area.height + 2u * static_cast<unsigned int>(reach));
    struct Step {
        RenderedTexture* from;
        RenderedTexture* to;
        p2f axis;
        Region area;
    };
    for (const Step& step : {Step{source, blurTargets_[0], p2f(1.0f, 0.0f), first},
                             Step{blurTargets_[0], smoothTarget_, p2f(0.0f, 1.0f), area}}) {
        PushFrameBuffer destination;
        step.to->MakeCurrent();
        ClearAllBuffers(step.area, Color::Transparent, 1.0f);
        Push<TextureUnits> units;
        PushProgram program;
        BindColourAndDepth(step.from, step.from);
        sSmoothProgram.Apply();
        sSmoothProgram.SetUniform("color_source", TextureUnit(0));
        sSmoothProgram.SetUniform("depth_source", TextureUnit(1));
        sSmoothProgram.SetUniform("radius", dofSmooth_);
        sSmoothProgram.SetUniform("axis", step.axis);
        sSmoothProgram.SetUniform("limit", p2f(viewportWidth_, viewportHeight_));
        DrawRegion(step.area);
    }
}

Region3d AntiAliasRender::RenderDofStripeBlur(RenderedTexture* source, float amount, float angle,
                                              const Region3d& region) {
    const p2f axis(std::cos(angle), std::sin(angle));
    float smallest = 0.0f;
    float largest = 0.0f;
    CoCFromDepth(amount, region.minimum.z, region.maximum.z, smallest, largest);
    const float reach = std::ceil(largest / 2.0f) + 1.0f;
    const p3f d(axis.x * reach, axis.y * reach, 0.0f);
    const Region3d drawn = region.Grow(d);
    const Region3d read = drawn.Grow(d);
    {
        PushFrameBuffer destination;
        RenderDofStripeDepth(source, amount, axis, Region(read.Grow(p3f(1.0f, 1.0f, 0.0f))));
    }
    Push<TextureUnits> units;
    PushProgram program;
    TextureUnit::Activate(GL_TEXTURE0);
    source->Apply();
    source->ApplyNearest();
    TextureUnit::Activate(GL_TEXTURE1);
    cocTarget_->Apply();
    cocTarget_->ApplyNearest();
    sStripeProgram.Apply();
    sStripeProgram.SetUniform("color_source", TextureUnit(0));
    sStripeProgram.SetUniform("depth_source", TextureUnit(1));
    sStripeProgram.SetUniform("dofFar", dofFar_);
    sStripeProgram.SetUniform("radius", reach);
    sStripeProgram.SetUniform("axis", axis);
    sStripeProgram.SetUniform("limit", p2f(viewportWidth_, viewportHeight_));
    DrawRegion(Region(drawn));
    return drawn;
}

void AntiAliasRender::RenderDofStripeDepth(RenderedTexture* source, float amount, const p2f& axis,
                                           const Region& area) {
    cocTarget_->MakeCurrent();
    Push<TextureUnits> units;
    PushProgram program;
    BindColourAndDepth(nullptr, source);
    sCocProgram.Apply();
    sCocProgram.SetUniform("depth_source", TextureUnit(0));
    sCocProgram.SetUniform("dofNear", dofNear_);
    sCocProgram.SetUniform("dofFar", dofFar_);
    sCocProgram.SetUniform("dofFocus", dofFocus_);
    sCocProgram.SetUniform("dofAperture", amount);
    sCocProgram.SetUniform("axis", axis);
    DrawRegion(area);
}

} // namespace OGL_ZEP6_AE
