// A plug-in includes the system OpenGL headers and the library's umbrella header together and
// opens both namespaces; this unit proves that compiles without clashes.
#include <GL/gl.h>
#include <GL/glext.h>
#include <ogl_zep6_ae.h>

using namespace OGL_ZEP6_AE;
