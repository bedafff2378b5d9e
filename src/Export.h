#pragma once

// Marks the library's exported interface. The library is built with hidden visibility, so
// anything a plug-in calls or reads carries this macro; everything else stays private to the
// shared object.
#define ZEP6_API __attribute__((visibility("default")))
