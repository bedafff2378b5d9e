#pragma once

// Immediate-mode and client-array drawing: a begin/end guard (Object), the scoped client-array
// state (PushArrays), a growable client-side vertex array that draws itself in one call
// (ObjectArray), and indexed drawing of vertex lists through it (IndexVertices).
//
// All of this runs on the GL worker thread (or a thread that has the root context current).

#include "Export.h"
#include "geometry/Vector.h"
#include "gl/resources/Resource.h"
#include "gl/state/Color.h"

#include <vector>

namespace OGL_ZEP6_AE {

// Sets the normal to (0, 0, 1) and starts an immediate-mode primitive (glBegin); the destructor
// ends it (glEnd).
class ZEP6_API Object {
public:
    explicit Object(unsigned int mode);
    ~Object();
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
};

// Pushes the client vertex-array attributes, enables the vertex array and enables or disables the
// texture-coordinate, normal and colour arrays; the destructor pops the client attributes.
//
// Drawing from a colour array leaves the current colour undefined, so when the colour array is
// enabled the current colour is recorded first and given back (through Color::Apply, which keeps
// Color::sCurrentColor in step) by the destructor. Without a colour array the current colour is
// not touched.
class ZEP6_API PushArrays {
public:
    // Only the vertex array.
    PushArrays();
    PushArrays(bool texCoords, bool normals, bool colors);
    ~PushArrays();
    PushArrays(const PushArrays&) = delete;
    PushArrays& operator=(const PushArrays&) = delete;

private:
    Color color_;
    bool restoreColor_;
};

// A client-side vertex array of one primitive type: positions with, per vertex, the texture
// coordinate, normal and colour current when the vertex was added. Only the kinds that were set at
// least once (TexCoord, Normal, Color) are handed to OpenGL; the others come from the current
// OpenGL state (the normal from this array's current normal).
//
// The arrays hold `capacity` vertices; adding one more doubles them.
class ZEP6_API ObjectArray : public Resource {
public:
    // No OpenGL call: the arrays are plain memory.
    ObjectArray(unsigned int primitive, int capacity);
    ~ObjectArray() override;
    ObjectArray(const ObjectArray&) = delete;
    ObjectArray& operator=(const ObjectArray&) = delete;

    void TexCoord(const p2f& t);
    void Normal(const p3f& n);
    void Color(const OGL_ZEP6_AE::Color& c);
    // Appends a vertex with the current texture coordinate, normal and colour.
    void Vertex(const p3f& p);
    // Sets the texture coordinate, then appends.
    void Vertex(const p3f& p, const p2f& t);

    // Whether the owner still has to draw the array: true when made, cleared by Draw and
    // Initialize.
    void MustDraw(bool mustDraw) { mustDraw_ = mustDraw; }
    bool MustDraw() const { return mustDraw_; }
    int Count() const { return count_; }
    int Capacity() const { return capacity_; }
    unsigned int Primitive() const { return primitive_; }
    bool HasTexCoords() const { return hasTexCoords_; }
    bool HasNormals() const { return hasNormals_; }
    bool HasColors() const { return hasColors_; }

    // Draws the vertices with glDrawArrays (nothing when there are none) and clears the must-draw
    // flag; the vertices stay. Client array state and current colour are restored. On the GL
    // worker thread.
    void Draw();

    // Empty arrays for `capacity` vertices (earlier contents are released), no vertices, and the
    // must-draw flag cleared.
    void Initialize();
    // Releases the arrays: no vertices, capacity 0.
    void Finalize() override;
    void Dump() const override {}

private:
    void Reserve(int capacity);

    unsigned int primitive_;
    bool mustDraw_;
    int count_;
    int capacity_;
    std::vector<p3f> positions_;
    // Two floats per vertex in a stride of three.
    std::vector<float> texCoords_;
    std::vector<p3f> normals_;
    std::vector<OGL_ZEP6_AE::Color> colors_;
    p2f texCoord_;
    bool hasTexCoords_;
    p3f normal_;
    bool hasNormals_;
    OGL_ZEP6_AE::Color color_;
    bool hasColors_;
};

// Draws n vertices of an indexed mesh as one primitive: for i = first ... first + n - 1 the vertex
// positions[indices[i]] with normal normals[indices[i]] and texture coordinate (x, y) of
// texCoords[indices[i]]. Indices outside any of the three lists are skipped. On the GL worker
// thread.
ZEP6_API void IndexVertices(unsigned int primitive, const std::vector<p3f>& positions,
                            const std::vector<p3f>& normals, const std::vector<p3f>& texCoords,
                            const std::vector<int>& indices, int first, int n);

} // namespace OGL_ZEP6_AE
