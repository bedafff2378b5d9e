// `zep6gl blur IN OUT --amount X[,Y] [--kind gaussian|box|pascal] [--shape S]`: blurs a picture
// on the card with the library's separable blurs, in tiles for frames of any size. OUT gets the
// input's pixels: .png for a PNG input, .exr for an OpenEXR one. Every failure prints one line
// naming the argument or file, exits non-zero and leaves no output file (the arguments are
// checked before any file is read).
#include "Command.h"
#include "ImageIO.h"

#include "imageops/ImageOperations.h"

#include <stdexcept>
#include <string>

namespace zep6gl {

void RunBlur(const Arguments& arguments) {
    if (!arguments.Has("--amount"))
        throw UsageError("--amount is required (pixels, X or X,Y)");
    const std::string amount = arguments.Value("--amount");
    const std::size_t comma = amount.find(',');
    const float amountX = ParseNumber("--amount", amount.substr(0, comma), 0.0f);
    const float amountY = comma == std::string::npos ? amountX : ParseNumber("--amount", amount.substr(comma + 1), 0.0f);
    const std::string kind = arguments.Has("--kind") ? arguments.Value("--kind") : "gaussian";
    if (kind != "gaussian" && kind != "box" && kind != "pascal")
        throw UsageError("--kind '" + kind + "': one of gaussian, box, pascal");
    float shape = 0.85f;
    if (arguments.Has("--shape")) {
        if (kind != "gaussian")
            throw UsageError("--shape applies to --kind gaussian only");
        shape = ParseNumber("--shape", arguments.Value("--shape"), 1e-6f);
    }
    const std::string& in = arguments.operands[0];
    const std::string& out = arguments.operands[1];
    const HostImage source = ReadInput(in);
    CheckOutputLike(out, source);
    RequireMemory(in, 2ULL * static_cast<unsigned long long>(source.GetRowBytes()) * source.GetHeight(), "blurring it");
    HostImage destination = LikeInput(source, source.GetWidth(), source.GetHeight());
    // As a job of the tool's own, so that a failure on the card comes back as an exception.
    OnCard(in, "blur", [&] {
        if (kind == "gaussian")
            OGL_ZEP6_AE::Blur(&source, &destination, amountX, amountY, shape);
        else if (kind == "box")
            OGL_ZEP6_AE::BoxBlur(&source, &destination, amountX, amountY);
        else
            OGL_ZEP6_AE::PascalBlur(&source, &destination, amountX, amountY);
    });
    WriteImage(out, destination, false, source.Windows());
}

} // namespace zep6gl
