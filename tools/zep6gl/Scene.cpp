#include "Scene.h"

#include "Command.h"
#include "ImageIO.h"

#include "core/PixelFormat.h"

#include "gl/render/AntiAliasRender.h"
#include "gl/render/Geometry.h"
#include "gl/render/Light.h"
#include "gl/render/LightMaterial.h"
#include "gl/render/LightModel.h"
#include "gl/render/Quadric.h"
#include "gl/render/Tesselator.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "gl/state/Push.h"
#include "gl/state/State.h"
#include "gl/targets/TiledBuffer.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace zep6gl {

namespace {

using namespace OGL_ZEP6_AE;

constexpr float kNear = 1.0f;
constexpr float kFar = 60.0f;
constexpr float kFloorY = -1.2f;
constexpr float kSkyZ = 58.0f;
constexpr float kHalfFovY = 0.4663f; // tan(25 degrees)

Material Shiny(float r, float g, float b) {
    return Material(Color(0.25f * r, 0.25f * g, 0.25f * b, 1.0f), Color(r, g, b, 1.0f),
                    Color(0.6f, 0.6f, 0.6f, 1.0f), Color(0.0f, 0.0f, 0.0f, 0.0f), 48.0f);
}

Material Matte(float r, float g, float b) {
    return Material(Color(0.3f * r, 0.3f * g, 0.3f * b, 1.0f), Color(r, g, b, 1.0f), Color(0.0f, 0.0f, 0.0f, 1.0f),
                    Color(0.0f, 0.0f, 0.0f, 0.0f), 0.0f);
}

// The depth-buffer value of a point at distance z under the scene's clip distances.
float DepthOf(float z) {
    return 0.5f * ((kFar + kNear) / (kFar - kNear) - 2.0f * kFar * kNear / ((kFar - kNear) * z) + 1.0f);
}

void DrawSky(float halfWidth, float halfHeight) {
    // A gradient from a pale horizon to a deep blue zenith, unlit, just in front of the far plane.
    const float x = halfWidth * kSkyZ / kNear * 1.05f, y = halfHeight * kSkyZ / kNear * 1.05f;
    glBegin(GL_QUADS);
    glColor4f(0.70f, 0.78f, 0.88f, 1.0f);
    glVertex3f(-x, -y, -kSkyZ);
    glVertex3f(x, -y, -kSkyZ);
    glColor4f(0.12f, 0.22f, 0.48f, 1.0f);
    glVertex3f(x, y, -kSkyZ);
    glVertex3f(-x, y, -kSkyZ);
    glEnd();
}

void DrawFloor() {
    // Cells of 1.5 units, each a quad divided into a small grid so that the lighting varies.
    constexpr float kCell = 1.5f;
    for (int pass = 0; pass < 2; ++pass) {
        (pass == 0 ? Matte(0.92f, 0.90f, 0.84f) : Matte(0.22f, 0.24f, 0.30f)).Apply();
        for (int row = 0; row < 36; ++row)
            for (int column = -10; column < 10; ++column) {
                if (((row + column) & 1) != pass)
                    continue;
                const float x0 = column * kCell, z0 = -1.0f - row * kCell;
                DrawQuad(p3f(x0, kFloorY, z0), p3f(x0 + kCell, kFloorY, z0), p3f(x0 + kCell, kFloorY, z0 - kCell),
                         p3f(x0, kFloorY, z0 - kCell), 3, 3, true);
            }
    }
}

void DrawSpheres(Quadric& quadric) {
    const float x[3] = {-2.3f, 0.0f, 2.9f};
    const float rgb[3][3] = {{0.85f, 0.18f, 0.12f}, {0.20f, 0.70f, 0.25f}, {0.18f, 0.35f, 0.90f}};
    quadric.Normals(GLU_SMOOTH);
    for (int i = 0; i < 3; ++i) {
        PushModelMatrix model;
        glTranslatef(x[i], kFloorY + 1.0f, -kSphereDistances[i]);
        Shiny(rgb[i][0], rgb[i][1], rgb[i][2]).Apply();
        quadric.DrawSphere(1.0, 48, 32);
    }
}

void Vertex(void* data) {
    glVertex3dv(static_cast<const double*>(data));
}

// A five-pointed star, concave, standing on the floor far back: the tessellator cuts it into
// triangles.
void DrawStar(Tesselator& tesselator) {
    if (!tesselator.IsValid())
        return;
    tesselator.AddTessCallback(GLU_TESS_BEGIN, reinterpret_cast<Tesselator::Callback>(&glBegin));
    tesselator.AddTessCallback(GLU_TESS_VERTEX, reinterpret_cast<Tesselator::Callback>(&Vertex));
    tesselator.AddTessCallback(GLU_TESS_END, reinterpret_cast<Tesselator::Callback>(&glEnd));
    std::vector<double> points;
    for (int i = 0; i < 10; ++i) {
        const double angle = 3.14159265358979 / 2 + i * 3.14159265358979 / 5;
        const double radius = (i % 2 == 0) ? 2.2 : 0.9;
        points.insert(points.end(), {-5.5 + radius * std::cos(angle), 1.4 + radius * std::sin(angle), -26.0});
    }
    Shiny(0.95f, 0.78f, 0.15f).Apply();
    glNormal3f(0.0f, 0.0f, 1.0f);
    tesselator.TessBeginPolygon(nullptr);
    tesselator.TessBeginContour();
    for (std::size_t i = 0; i < points.size(); i += 3)
        tesselator.TessVertex(&points[i], &points[i]);
    tesselator.TessEndContour();
    tesselator.TessEndPolygon();
}

} // namespace

void RenderScene(XIImage* destination, const SceneOptions& options) {
    TiledBuffer tiles(destination);
    // Made after the tiles, so that a render left early ends before the tile loop does.
    AntiAliasRender render;
    render.Initialize(options.quality, options.focus, options.aperture, options.smooth, kNear, kFar,
                      options.lensJitter);
    // Tiles drawn with the margin the post-process blur needs, so that they join without seams.
    const int margin = std::min(render.TileMargin(), 300);
    tiles.Rewind(2048 - 2 * margin, 1080 - 2 * margin, margin);
    Quadric quadric;
    Tesselator tesselator;
    const float halfHeight = kHalfFovY * kNear;
    const float halfWidth = halfHeight * static_cast<float>(tiles.Width()) / static_cast<float>(std::max(tiles.Height(), 1));
    while (tiles.Next()) {
        // Every tile starts empty: the render clears only what it drew in the tile before.
        ClearAllBuffers(Color::Transparent, 1.0f);
        while (render.Next()) {
            PushState scene;
            // The tiled buffer puts the frustum's normalised square on -W/2 ... W/2: the window
            // [-a, a] x [-b, b] at the near plane is the frustum (-2a, 0, -2b, 0).
            render.Perspective(tiles, -2.0f * halfWidth, 0.0f, -2.0f * halfHeight, 0.0f, kNear, kFar);
            glEnable(GL_DEPTH_TEST);
            glDepthFunc(GL_LESS);
            glDisable(GL_BLEND);
            glDisable(GL_TEXTURE_2D);
            DrawSky(halfWidth, halfHeight);

            LightModel(Color(0.25f, 0.25f, 0.28f, 1.0f), GL_SEPARATE_SPECULAR_COLOR, 0, 0).Apply();
            ParamLight sun(0);
            sun.SetDefaults(0);
            sun.diffuse = Color(0.95f, 0.92f, 0.85f, 1.0f);
            sun.specular = Color(1.0f, 1.0f, 1.0f, 1.0f);
            sun.position = p4f(-0.45f, 0.8f, 0.55f, 0.0f);
            sun.ApplyCustom();
            glEnable(GL_NORMALIZE);
            DrawFloor();
            DrawSpheres(quadric);
            DrawStar(tesselator);
            // Everything drawn lies between the floor's near edge and the sky.
            render.AddRegion(Region3d(p3f(0.0f, 0.0f, DepthOf(1.5f)),
                                      p3f(static_cast<float>(tiles.GetCurrentTile().width),
                                          static_cast<float>(tiles.GetCurrentTile().height), DepthOf(kSkyZ))));
        }
    }
}

// `zep6gl scene OUT [--size WxH] [--quality 0..5] [--focus Z --aperture A] [--lens-jitter]
// [--smooth S]`: renders the scene into OUT (.png: 8-bit, .exr: float). Every argument is checked
// before anything is drawn; a wrong one gets one line naming it.
void RunScene(const Arguments& arguments) {
    const std::string& out = arguments.operands[0];
    const std::string extension = std::filesystem::path(out).extension().string();
    if (extension != ".png" && extension != ".exr")
        throw UsageError(out + ": unknown file extension (use .png or .exr)");
    long width = 960, height = 540;
    if (arguments.Has("--size"))
        ParseSize("--size", arguments.Value("--size"), width, height);
    SceneOptions options;
    if (arguments.Has("--quality")) {
        const std::string text = arguments.Value("--quality");
        if (text.size() != 1 || text[0] < '0' || text[0] > '5')
            throw UsageError("--quality '" + text + "': a whole number from 0 to 5");
        options.quality = text[0] - '0';
    }
    if (arguments.Has("--focus") != arguments.Has("--aperture"))
        throw UsageError("--focus and --aperture go together");
    if (arguments.Has("--focus")) {
        options.focus = ParseNumber("--focus", arguments.Value("--focus"), 1e-3f);
        options.aperture = ParseNumber("--aperture", arguments.Value("--aperture"), 0.0f);
    }
    if (arguments.Has("--smooth")) {
        if (arguments.Has("--lens-jitter"))
            throw UsageError("--smooth applies to the post-process blur, not to --lens-jitter");
        options.smooth = ParseNumber("--smooth", arguments.Value("--smooth"), 0.0f);
        if (options.smooth > OGL_ZEP6_AE::AntiAliasRender::kMaxSmooth)
            throw UsageError("--smooth '" + arguments.Value("--smooth") + "': at most 100 pixels");
    }
    options.lensJitter = arguments.Has("--lens-jitter");
    const bool isFloat = extension == ".exr";
    RequireMemory(out, static_cast<unsigned long long>(width) * static_cast<unsigned long long>(height) * (isFloat ? 16 : 4),
                  "rendering the scene");
    HostImage picture(static_cast<long>(OGL_ZEP6_AE::FourCC("RGBA")), isFloat ? 128 : 32, isFloat ? 1 : 255, width,
                      height, 0, false);
    OnCard(out, "render the scene into", [&] { RenderScene(&picture, options); });
    WriteImage(out, picture);
}

} // namespace zep6gl
