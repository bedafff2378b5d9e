#pragma once

// A small 3-D scene for the multipass render: three lit spheres at 6, 10 and 16 units from the
// camera over a checkered floor, a concave star (tessellated) further back and a sky backdrop,
// drawn through a tiled buffer into a host image of any size with anti-aliasing and depth of
// field. Shared by `zep6gl scene`, the demo's scene sheet and the scene benchmark.

class XIImage;

namespace zep6gl {

struct SceneOptions {
    int quality = 0;         // 0 ... 5: 1, 4, 6, 8, 12 or 16 passes
    float focus = 0.0f;      // distance in focus (0: no depth of field)
    float aperture = 0.0f;   // depth-of-field strength: the blur amount, or the lens size with lensJitter
    float smooth = 0.0f;     // depth smoothing before the post-process blur, in pixels
    bool lensJitter = false; // depth of field by moving the camera across the lens
};

// Distances of the spheres from the camera, nearest first.
constexpr float kSphereDistances[3] = {6.0f, 10.0f, 16.0f};

// Renders the scene into `destination` (any size; float or integer pixels). On the GL worker
// thread: call it inside RunOnWorker.
void RenderScene(XIImage* destination, const SceneOptions& options);

} // namespace zep6gl
