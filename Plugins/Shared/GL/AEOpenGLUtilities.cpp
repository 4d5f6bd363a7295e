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
#include "ScopeExit.h"
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

// The host's rows go to GL as they are, without a copy; the row length, in
// pixels, skips the padding.
template <typename Pixel>
void UploadHostRows(PF_Err (*getPixelData)(PF_EffectWorld*, PF_PixelPtr, Pixel**),
                    PF_LayerDef* input, GLenum channelType) {
    constexpr int kShift = sizeof(Pixel) == 4 ? 2 : 3;
    static_assert(sizeof(Pixel) == (1u << kShift), "a pixel of 4 or 8 bytes");
    glPixelStorei(GL_UNPACK_ROW_LENGTH, input->rowbytes >> kShift);
    Pixel* pixels = PixelStart(getPixelData, input);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, input->width, input->height, GL_RGBA, channelType,
                    pixels);
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

// Copies `rows` rows of `rowSize` bytes from the packed read-back into the
// output world, whose rows start at multiples of the pixel size.
template <typename Pixel>
void CopyRows(PF_Err (*getPixelData)(PF_EffectWorld*, PF_PixelPtr, Pixel**), PF_LayerDef* output,
              const uint8_t* pixels, size_t sourceRowSize, A_long rows, size_t rowSize) {
    for (A_long y = 0; y < rows; ++y) {
        auto* start = reinterpret_cast<uint8_t*>(PixelStart(getPixelData, output));
        const size_t offset = static_cast<size_t>(y) * static_cast<size_t>(output->rowbytes) /
                              sizeof(Pixel) * sizeof(Pixel);
        std::memcpy(start + offset, pixels + y * sourceRowSize, rowSize);
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

unsigned int UploadTexture(int format, PF_LayerDef* input, PF_LayerDef* /*output*/,
                           PF_InData* in_data, unsigned long& pixelSize, GLenum& pixelType,
                           float& multiplier, bool useMipmaps) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    // On a failure the texture goes, and the binding and unpack state are
    // left as on success.
    ScopeExit cleanUp([&texture] {
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &texture);
    });

    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                    useMipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, input->width, input->height, 0, GL_RGBA, GL_FLOAT,
                 nullptr);

    multiplier = 1.0f;
    switch (format) {
    case PF_PixelFormat_ARGB32:
        pixelType = GL_UNSIGNED_BYTE;
        pixelSize = sizeof(PF_Pixel8);
        UploadHostRows(in_data->utils->get_pixel_data8, input, GL_UNSIGNED_BYTE);
        break;
    case PF_PixelFormat_ARGB64:
        pixelType = GL_UNSIGNED_SHORT;
        pixelSize = sizeof(PF_Pixel16);
        multiplier = kMultiplier16;
        UploadHostRows(in_data->utils->get_pixel_data16, input, GL_UNSIGNED_SHORT);
        break;
    case PF_PixelFormat_ARGB128: {
        pixelType = GL_FLOAT;
        pixelSize = sizeof(PF_PixelFloat);
        // Float worlds are read through the host's iterator into a packed buffer.
        std::vector<PF_PixelFloat> buffer(PackedPixels(input->width, input->height));
        CopyPixelFloatRefcon refcon{buffer.data(), input};
        IterateFloat(in_data, input, input, refcon, &CopyPixelFloatIn);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, input->width);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, input->width, input->height, GL_RGBA, GL_FLOAT,
                        buffer.data());
        break;
    }
    default:
        throw kBadParameter;
    }

    cleanUp.release();
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
    SuiteScoper<PF_HandleSuite1> handles(in_data, kPFHandleSuite, kPFHandleSuiteVersion1);
    const uint32_t pixelCount = width * height;
    PF_Handle handle = handles->host_new_handle(static_cast<uint64_t>(pixelCount) * pixelSize);
    if (!handle) {
        throw kOutOfMemory;
    }
    ScopeExit release([&handles, handle] {
        handles->host_unlock_handle(handle);
        handles->host_dispose_handle(handle);
    });
    auto* pixels = static_cast<uint8_t*>(handles->host_lock_handle(handle));
    if (!pixels) {
        throw kOutOfMemory;
    }

    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glReadPixels(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RGBA,
                 pixelType, pixels);

    // An output larger than the frame is written only where the frame is.
    const A_long rows =
        output->height < static_cast<A_long>(height) ? output->height : static_cast<A_long>(height);
    const A_long columns =
        output->width < static_cast<A_long>(width) ? output->width : static_cast<A_long>(width);
    const size_t sourceRowSize = static_cast<size_t>(width) * pixelSize;
    const size_t rowSize = static_cast<size_t>(columns < 0 ? 0 : columns) * pixelSize;
    switch (format) {
    case PF_PixelFormat_ARGB32:
        CopyRows(in_data->utils->get_pixel_data8, output, pixels, sourceRowSize, rows, rowSize);
        break;
    case PF_PixelFormat_ARGB64:
        CopyRows(in_data->utils->get_pixel_data16, output, pixels, sourceRowSize, rows, rowSize);
        break;
    default: {
        CopyPixelFloatRefcon refcon{reinterpret_cast<PF_PixelFloat*>(pixels), input};
        IterateFloat(in_data, input, output, refcon, &CopyPixelFloatOut);
        break;
    }
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
