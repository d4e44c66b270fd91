// ISF shaders see images as GL keeps them, bottom row first (gl_FragCoord
// and isf_FragNormCoord have their origin at the bottom-left); the host's
// worlds, and so the pipeline's input and output buffers, are top row
// first. An ISF effect's inputs are turned upside down after the upload and
// its result before the read-back: exact copies on the GPU.
#pragma once

#include "gl/GlApi.h"

// Copies `source` (width x height) upside down into `target`, which is
// (re)specified as RGBA32F of that size, through the framebuffer `fbo`;
// `fbo` is left with `target` detached and colour attachment 0 drawn and
// read. False when nothing was copied (no area, or a framebuffer that
// cannot take the two).
bool flipInto(GLuint fbo, GLuint source, GLuint target, int width, int height);
