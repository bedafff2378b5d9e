#include "imageops/ImageOperations.h"

#include "gl/state/Blend.h"
#include "gl/state/Clear.h"
#include "gl/state/Color.h"
#include "imageops/OperationFramePrivate.h"

namespace OGL_ZEP6_AE {

using namespace imageops;

void Copy(const XIImage* source, XIImage* destination) {
    if (!IsValid(source) || !IsWritable(destination) || CopyMatchingBytes(source, destination))
        return;
    if (MarshalToWorker(&Copy, source, destination))
        return;
    ForEachTile(destination, [&](TiledBuffer& tiles, const Region&) {
        BlendFunc::Replace.Apply();
        tiles.Write(source, 0, 0);
    });
}

void Clear(XIImage* destination, const Color& color) {
    if (!IsWritable(destination) || ClearToZeroBytes(destination, color))
        return;
    Color value = color; // the job reads the colour from this frame
    if (MarshalToWorker(&Clear, destination, value))
        return;
    ForEachTile(destination, [&](TiledBuffer&, const Region&) {
        ClearColorBuffer(value);
    });
}

} // namespace OGL_ZEP6_AE
