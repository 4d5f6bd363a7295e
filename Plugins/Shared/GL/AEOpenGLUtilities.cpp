#include "AEOpenGLUtilities.h"

#include <glbinding/gl/gl.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_EffectPixelFormat.h"
#include "SuiteScoper.h"

using namespace gl;

namespace Brindel::GaussianBlur::AEOpenGLUtilities {

namespace {

constexpr PF_Err kBadParameter = PF_Err_BAD_CALLBACK_PARAM;
constexpr PF_Err kOutOfMemory = PF_Err_OUT_OF_MEMORY;

// GL normalises 16-bit channels by 65535, while the host's white is 32768.
constexpr float kMultiplier16 = 65535.0f / 32768.0f;

// A host call's error, or a pixel start it did not give, ends the transfer.
template <typename Pixel>
Pixel* PixelStart(PF_Err (*getPixelData)(PF_EffectWorld*, PF_PixelPtr, Pixel**),
                  PF_LayerDef* world) {
    Pixel* start = nullptr;
    if (const PF_Err err = getPixelData(world, nullptr, &start)) {
        throw err;
    }
    if (!start) {
        throw kBadParameter;
    }
    return start;
}

// A GL_RGBA32F texture of the frame's size, bound, with the filters the passes
// sample it with.
GLuint MakeTexture(A_long width, A_long height, bool useMipmaps) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                    useMipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, width, height, 0, GL_RGBA, GL_FLOAT, nullptr);
    return texture;
}

// Channel type, pixel size and multiplier of an 8- or 16-bit format.
void DescribeFormat(int format, unsigned long& pixelSize, GLenum& pixelType, float& multiplier) {
    switch (format) {
    case PF_PixelFormat_ARGB32:
        pixelType = GL_UNSIGNED_BYTE;
        pixelSize = sizeof(PF_Pixel8);
        multiplier = 1.0f;
        return;
    case PF_PixelFormat_ARGB64:
        pixelType = GL_UNSIGNED_SHORT;
        pixelSize = sizeof(PF_Pixel16);
        multiplier = kMultiplier16;
        return;
    default:
        throw kBadParameter;
    }
}

size_t PackedPixels(A_long width, A_long height) {
    const uint64_t count = static_cast<uint64_t>(width < 0 ? 0 : width) *
                           static_cast<uint64_t>(height < 0 ? 0 : height);
    if (count > std::numeric_limits<size_t>::max() / sizeof(PF_PixelFloat)) {
        throw std::bad_alloc();
    }
    return static_cast<size_t>(count);
}

void IterateFloat(PF_InData* in_data, PF_LayerDef* src, PF_LayerDef* dst,
                  CopyPixelFloatRefcon& refcon, PF_IteratePixelFloatFunc copy) {
    SuiteScoper<PF_iterateFloatSuite1> iterate(in_data, kPFIterateFloatSuite,
                                               kPFIterateFloatSuiteVersion1);
    if (const PF_Err err =
            iterate->iterate(in_data, 0, src->height, src, nullptr, &refcon, copy, dst)) {
        throw err;
    }
}

} // namespace

PF_Err CopyPixelFloatIn(void* refcon, int x, int y, PF_PixelFloat* in, PF_PixelFloat*) {
    auto* r = static_cast<CopyPixelFloatRefcon*>(refcon);
    r->buffer[static_cast<size_t>(y) * r->world->width + x] = *in;
    return PF_Err_NONE;
}

PF_Err CopyPixelFloatOut(void* refcon, int x, int y, PF_PixelFloat*, PF_PixelFloat* out) {
    auto* r = static_cast<CopyPixelFloatRefcon*>(refcon);
    *out = r->buffer[static_cast<size_t>(y) * r->world->width + x];
    return PF_Err_NONE;
}

HostRows GetHostRows(int format, PF_LayerDef* world, PF_InData* in_data) {
    HostRows rows;
    rows.rowbytes = world->rowbytes;
    rows.width = world->width;
    rows.height = world->height;
    if (rows.width <= 0 || rows.height <= 0) {
        // Nothing to read or write: the host is not asked for pixels.
        if (format != PF_PixelFormat_ARGB32 && format != PF_PixelFormat_ARGB64) {
            throw kBadParameter;
        }
        return rows;
    }
    switch (format) {
    case PF_PixelFormat_ARGB32:
        rows.start = PixelStart(in_data->utils->get_pixel_data8, world);
        break;
    case PF_PixelFormat_ARGB64:
        rows.start = PixelStart(in_data->utils->get_pixel_data16, world);
        break;
    default:
        throw kBadParameter;
    }
    return rows;
}

namespace {

// The host's rows go to GL as they are, without a copy; the row length, in pixels, skips the
// padding. The texture is bound.
void WriteBoundTexture(const HostRows& input, unsigned long pixelSize, GLenum pixelType) {
    glPixelStorei(GL_UNPACK_ROW_LENGTH,
                  static_cast<GLint>(input.rowbytes / static_cast<A_long>(pixelSize)));
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, input.width, input.height, GL_RGBA, pixelType,
                    input.start);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
}

} // namespace

unsigned int UploadRows(int format, const HostRows& input, unsigned long& pixelSize,
                        GLenum& pixelType, float& multiplier, bool useMipmaps) {
    DescribeFormat(format, pixelSize, pixelType, multiplier);
    const GLuint texture = MakeTexture(input.width, input.height, useMipmaps);
    WriteBoundTexture(input, pixelSize, pixelType);
    return texture;
}

void UploadRowsInto(unsigned int texture, int format, const HostRows& input,
                    unsigned long& pixelSize, GLenum& pixelType, float& multiplier) {
    DescribeFormat(format, pixelSize, pixelType, multiplier);
    glBindTexture(GL_TEXTURE_2D, texture);
    WriteBoundTexture(input, pixelSize, pixelType);
}

void ReadFrame(unsigned int width, unsigned int height, GLenum pixelType, void* pixels) {
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glReadPixels(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RGBA,
                 pixelType, pixels);
}

void WriteRows(const void* pixels, unsigned int width, unsigned int height, unsigned long pixelSize,
               const HostRows& output) {
    // An output larger than the frame is written only where the frame is.
    const A_long rows =
        output.height < static_cast<A_long>(height) ? output.height : static_cast<A_long>(height);
    const A_long columns =
        output.width < static_cast<A_long>(width) ? output.width : static_cast<A_long>(width);
    if (rows <= 0 || columns <= 0) {
        return;
    }
    const size_t sourceRowSize = static_cast<size_t>(width) * pixelSize;
    const size_t rowSize = static_cast<size_t>(columns) * pixelSize;
    // Rows start at multiples of the pixel size, as the host's worlds do.
    const size_t stride = static_cast<size_t>(output.rowbytes) / pixelSize * pixelSize;
    const auto* source = static_cast<const uint8_t*>(pixels);
    auto* target = static_cast<uint8_t*>(output.start);
    for (A_long y = 0; y < rows; ++y) {
        std::memcpy(target + static_cast<size_t>(y) * stride,
                    source + static_cast<size_t>(y) * sourceRowSize, rowSize);
    }
}

HostBuffer::HostBuffer(PF_InData* in_data, std::uint64_t size)
    : mSuite(in_data, kPFHandleSuite, kPFHandleSuiteVersion1) {
    mHandle = mSuite->host_new_handle(size);
    if (!mHandle) {
        throw kOutOfMemory;
    }
    mData = mSuite->host_lock_handle(mHandle);
    if (!mData) {
        mSuite->host_dispose_handle(mHandle);
        throw kOutOfMemory;
    }
}

HostBuffer::~HostBuffer() {
    mSuite->host_unlock_handle(mHandle);
    mSuite->host_dispose_handle(mHandle);
}

unsigned int UploadTexture(int format, PF_LayerDef* input, PF_LayerDef* /*output*/,
                           PF_InData* in_data, unsigned long& pixelSize, GLenum& pixelType,
                           float& multiplier, bool useMipmaps) {
    if (format != PF_PixelFormat_ARGB128) {
        // Ask the host before any GL object exists, so a refusal leaves nothing behind.
        const HostRows rows = GetHostRows(format, input, in_data);
        return UploadRows(format, rows, pixelSize, pixelType, multiplier, useMipmaps);
    }
    // Float worlds are read through the host's iterator into a packed buffer.
    pixelType = GL_FLOAT;
    pixelSize = sizeof(PF_PixelFloat);
    multiplier = 1.0f;
    std::vector<PF_PixelFloat> buffer(PackedPixels(input->width, input->height));
    CopyPixelFloatRefcon refcon{buffer.data(), input};
    IterateFloat(in_data, input, input, refcon, &CopyPixelFloatIn);
    const GLuint texture = MakeTexture(input->width, input->height, useMipmaps);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, input->width);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, input->width, input->height, GL_RGBA, GL_FLOAT,
                    buffer.data());
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

void DownloadTexture(unsigned int width, unsigned int height, PF_LayerDef* input,
                     PF_LayerDef* output, PF_InData* in_data, int format, unsigned long pixelSize,
                     GLenum pixelType) {
    if (format != PF_PixelFormat_ARGB32 && format != PF_PixelFormat_ARGB64 &&
        format != PF_PixelFormat_ARGB128) {
        throw kBadParameter;
    }
    HostBuffer readBack(in_data, static_cast<uint64_t>(width) * height * pixelSize);
    ReadFrame(width, height, pixelType, readBack.data());
    if (format == PF_PixelFormat_ARGB128) {
        CopyPixelFloatRefcon refcon{static_cast<PF_PixelFloat*>(readBack.data()), input};
        IterateFloat(in_data, input, output, refcon, &CopyPixelFloatOut);
        return;
    }
    WriteRows(readBack.data(), width, height, pixelSize, GetHostRows(format, output, in_data));
}

namespace {

// glGetError gives one flag a call, and a lost context may report without end.
constexpr int kMostErrors = 16;

} // namespace

void CheckGLErrors(bool framebuffer) {
    bool outOfMemory = false;
    GLenum other = GL_NO_ERROR;
    for (int i = 0; i < kMostErrors; ++i) {
        const GLenum error = glGetError();
        if (error == GL_NO_ERROR) {
            break;
        }
        if (error == GL_OUT_OF_MEMORY) {
            outOfMemory = true;
        } else {
            other = error;
        }
    }
    if (outOfMemory) {
        throw std::bad_alloc();
    }
    if (other != GL_NO_ERROR) {
        throw GLFailure("GL error " + std::to_string(static_cast<unsigned int>(other)));
    }
    if (framebuffer && glCheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        throw GLFailure("incomplete frame-buffer");
    }
}

void ClearGLErrors() {
    for (int i = 0; i < kMostErrors && glGetError() != GL_NO_ERROR; ++i) {
    }
}

std::string CheckFramebufferStatus() {
    switch (glCheckFramebufferStatus(GL_FRAMEBUFFER)) {
    case GL_FRAMEBUFFER_COMPLETE:
        return "OK";
    case GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT:
        return "Framebuffer incomplete, incomplete attachment!";
    case GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT:
        return "Framebuffer incomplete, missing attachment!";
    case GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER:
        return "Framebuffer incomplete, missing draw buffer!";
    case GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER:
        return "Framebuffer incomplete, missing read buffer!";
    case GL_FRAMEBUFFER_UNSUPPORTED:
        return "Unsupported framebuffer format!";
    default:
        return "Unknown error!";
    }
}

} // namespace Brindel::GaussianBlur::AEOpenGLUtilities
