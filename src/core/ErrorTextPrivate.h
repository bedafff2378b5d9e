#pragma once

// Run-time texts for Error, which keeps only a pointer to its message.

namespace OGL_ZEP6_AE {

// Copies `text` into the library's buffer of composed error texts (16 KiB; a longer text is cut)
// and returns the copy, which stays valid until the next call. For a message composed in an
// object that may be gone before the message is read: a program made inside a job and destroyed
// while its compile error unwinds the job, before the worker copies the message. GL thread only,
// as the failures it serves.
const char* KeepErrorText(const char* text);

} // namespace OGL_ZEP6_AE
