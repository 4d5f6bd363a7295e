#pragma once

#include <glbinding/gl/types.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "AE_Effect.h"
#include "AE_EffectCBSuites.h"
#include "SuiteScoper.h"

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

// The render path splits the transfer in two: what it asks of the host (pixel
// starts, the read-back handle) happens before and after its GL work, and the
// GL half touches only memory already in hand. A host may take a lock of its
// own in those callbacks, so none of them runs while frames are serialised.

// A world's rows as the host gave them.
struct HostRows {
    void* start = nullptr;
    A_long rowbytes = 0;
    A_long width = 0;
    A_long height = 0;
};

// Asks the host for the pixel start of an 8-bit (PF_PixelFormat_ARGB32) or
// 16-bit (PF_PixelFormat_ARGB64) world; an empty world is not asked for one.
// Throws 516 for another format or a world without pixels, and the host's code
// when it fails.
HostRows GetHostRows(int format, PF_LayerDef* world, PF_InData* in_data);

// As UploadTexture, from rows already in hand: GL calls only.
unsigned int UploadRows(int format, const HostRows& input, unsigned long& pixelSize,
                        gl::GLenum& pixelType, float& multiplier, bool useMipmaps);

// As UploadRows, into `texture`'s existing storage, which has the rows' size: nothing is
// allocated. The texture is left unbound.
void UploadRowsInto(unsigned int texture, int format, const HostRows& input,
                    unsigned long& pixelSize, gl::GLenum& pixelType, float& multiplier);

// Reads the frame-buffer bound for reading (width by height) into `pixels`,
// packed: GL calls only.
void ReadFrame(unsigned int width, unsigned int height, gl::GLenum pixelType, void* pixels);

// Copies a packed read-back of width by height pixels into `output`, row 0 to
// row 0; only the part that both hold is written and row padding stays.
void WriteRows(const void* pixels, unsigned int width, unsigned int height, unsigned long pixelSize,
               const HostRows& output);

// A block of host memory from the handle suite, locked for as long as it
// lives. Throws 4 when the host gives no handle or no memory, 13 when it has
// no handle suite.
class HostBuffer {
public:
    HostBuffer(PF_InData* in_data, std::uint64_t size);
    ~HostBuffer();
    HostBuffer(const HostBuffer&) = delete;
    HostBuffer& operator=(const HostBuffer&) = delete;

    void* data() const { return mData; }

private:
    SuiteScoper<PF_HandleSuite1> mSuite;
    PF_Handle mHandle = nullptr;
    void* mData = nullptr;
};

PF_Err CopyPixelFloatIn(void* refcon, int x, int y, PF_PixelFloat* in, PF_PixelFloat* out);
PF_Err CopyPixelFloatOut(void* refcon, int x, int y, PF_PixelFloat* in, PF_PixelFloat* out);

// The bound frame-buffer's status as text: "OK" when complete.
std::string CheckFramebufferStatus();

// A GL error other than exhausted memory, or an incomplete frame-buffer: what was drawn is not
// the frame.
class GLFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads every error pending in the current context, which must be one of the effect's own: the
// host's errors are the host's to read. GL_OUT_OF_MEMORY throws std::bad_alloc, any other error
// GLFailure. With `framebuffer`, an incomplete draw frame-buffer throws GLFailure too.
void CheckGLErrors(bool framebuffer);
// Drops the errors pending in the current context, one of the effect's own, so that what an
// earlier failed command left does not fail the next.
void ClearGLErrors();

} // namespace Brindel::GaussianBlur::AEOpenGLUtilities
