#pragma once

// The glow programs, for the plug-ins (nothing else in the library draws with them). Each is one
// fragment shader sampling at texture coordinate 0 (rectangle textures, coordinates in texels):
//
// EffectProgram::sThreshold  "threshold_source" (sampler), "threshold_luma" (float): the sample
//                            when its Rec. 601 luma reaches threshold_luma, else transparent black.
// EffectProgram::sHorizBlur  "blur_source", "blur_size" (vec2, the source size in texels),
// EffectProgram::sVertBlur   "blur_radius" (float): the centre sample (weight 1) plus, for the
//                            offsets 1.5, 3.5, 5.5, ... up to blur_radius, the samples on both
//                            sides (clamped to 0 .. size - 1 along the blur) each weighted
//                            1 - offset^2 / radius^2, divided by the sum of the weights, clamped.
// EffectProgram::sGlow       "glow_source", "glow_blurred", "glow_intensity": with o the source
//                            and b the blurred sample, k = b.a * glow_intensity:
//                            (b.rgb * k + o.rgb, k + o.a), clamped to [0, 1].
//
// The four are process-wide statics made at load without any OpenGL call; like every effect
// program they build themselves again after a shutdown (EffectProgram::Finalize). GL thread only.

#include "gl/render/EffectProgram.h"
