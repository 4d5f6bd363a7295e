#pragma once

#include <glbinding/gl/types.h>

#include <string>

#include "AE_Effect.h"

namespace Brindel::GaussianBlur::AEOpenGLUtilities {

// What the float iterators are handed: a packed buffer of `world->width`
// pixels a row.
struct CopyPixelFloatRefcon {
    PF_PixelFloat* buffer;
    PF_LayerDef* world;
};

// Makes a GL_RGBA32F texture from `input`'s pixels, channels in memory order
// (alpha, red, green, blue into GL's r, g, b, a), rows unflipped. Sets the
// channel type, pixel size and the multiplier that takes the host's white to
// 1.0. The texture is the caller's and is left unbound. Failures are thrown
// as integers: 516 for a format outside 8, 16 and float or a world without
// pixels, 13 for a missing suite, the host's code from its iterator.
unsigned int UploadTexture(int format, PF_LayerDef* input, PF_LayerDef* output, PF_InData* in_data,
                           unsigned long& pixelSize, gl::GLenum& pixelType, float& multiplier,
                           bool useMipmaps);

// Reads the frame-buffer bound for reading (width by height) into a host
// handle and copies it into `output`, row 0 to row 0. Only the part that
// both the read-back and the output hold is written; row padding stays.
// Throws 4 when the host gives no handle, and as UploadTexture otherwise.
void DownloadTexture(unsigned int width, unsigned int height, PF_LayerDef* input,
                     PF_LayerDef* output, PF_InData* in_data, int format, unsigned long pixelSize,
                     gl::GLenum pixelType);

PF_Err CopyPixelFloatIn(void* refcon, int x, int y, PF_PixelFloat* in, PF_PixelFloat* out);
PF_Err CopyPixelFloatOut(void* refcon, int x, int y, PF_PixelFloat* in, PF_PixelFloat* out);

// The bound frame-buffer's status as text: "OK" when complete.
std::string CheckFramebufferStatus();

} // namespace Brindel::GaussianBlur::AEOpenGLUtilities
