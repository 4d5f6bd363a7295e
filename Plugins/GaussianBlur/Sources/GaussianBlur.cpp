#include "GaussianBlur.h"

#include <glbinding/gl/gl.h>

#include <cstdint>
#include <mutex>
#include <new>

#include "AEOpenGLContext.h"
#include "AEOpenGLContextManager.h"
#include "AEOpenGLUtilities.h"
#include "AEOpenglMainFrameBuffer.h"
#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_EffectPixelFormat.h"
#include "AE_GeneralPlug.h"
#include "AE_Macros.h"
#include "GaussianBlurRender.h"
#include "Param_Utils.h"
#include "SaveRestoreGLContext.h"
#include "ScopeExit.h"
#include "SuiteScoper.h"

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

// All frames of all instances go through this one object. It is made at
// module load; its constructor makes no GL call.
GaussianBlurRender* mWarpRender = new GaussianBlurRender();

// At unload, what holds no GL object any more (nothing was drawn, or set-down
// took it down) is freed. What still holds some, because the host never set
// the effect down, stays: there is no context left to delete it in.
struct UnloadCleanup {
    ~UnloadCleanup() {
        if (mWarpRender && !mWarpRender->holdsGLObjects()) {
            delete mWarpRender;
            mWarpRender = nullptr;
        }
        AEOpenglMainFrameBuffer::releaseMainFrameBuffer();
    }
} sUnloadCleanup;

constexpr const char* kEffectName = "Gaussian Blur";
constexpr int kMajorVersion = 1;
constexpr int kMinorVersion = 0;
constexpr int kBugVersion = 0;
constexpr int kBuildVersion = 1;

constexpr A_long kInputCheckoutId = 0;
constexpr PF_ParamIndex kBlurScaleParam = 1;
constexpr A_long kBlurScaleDiskId = 1;
constexpr PF_FpShort kBlurScaleMax = 60.0f;

// `dst` grows to cover `src`; an empty `dst` is replaced by `src`.
void UnionRect(const PF_LRect* src, PF_LRect* dst) {
    if (IsEmptyRect(dst)) {
        *dst = *src;
    } else if (!IsEmptyRect(src)) {
        dst->left = src->left < dst->left ? src->left : dst->left;
        dst->top = src->top < dst->top ? src->top : dst->top;
        dst->right = src->right > dst->right ? src->right : dst->right;
        dst->bottom = src->bottom > dst->bottom ? src->bottom : dst->bottom;
    }
}

PF_Err About(PF_InData* in_data, PF_OutData* out_data) {
    SuiteScoper<PF_ANSICallbacksSuite1> ansi(in_data, kPFANSISuite, kPFANSISuiteVersion1);
    ansi->sprintf(out_data->return_msg, "%s v%d.%d\r%s", kEffectName, kMajorVersion, kMinorVersion,
                  kEffectName);
    return PF_Err_NONE;
}

// The frames of all threads share the render object and the frame-buffer
// stack, so their GL work goes one frame at a time. Set-up and set-down take
// it too: they register and release contexts with the GL binding, which must
// not happen while another thread calls GL through it. It is never held while
// calling back into the host, which may take a lock of its own there.
std::mutex& RenderLock() {
    static std::mutex lock;
    return lock;
}

// The host's context is current again when the command returns, also when it
// fails. A command that cannot give it back fails as one without a context.
class HostContextGuard {
public:
    ~HostContextGuard() { mSaved.restore(); }
    void restore() {
        if (!mSaved.restore()) {
            throw PF_Err{PF_Err_BAD_CALLBACK_PARAM};
        }
    }

private:
    SaveRestoreGLContext mSaved;
};

// The platform gives every caller in a process the same display, and a host may terminate it: the
// contexts and every GL name the effect holds die with it. The contexts are dropped without a
// call into them, a new data context opens the display again, and the objects are torn down in
// its share group, which holds nothing yet, so that their names reach no live object. Under the
// render lock, with the host's context saved.
void RecoverFromLostDisplay() {
    if (!AEOpenGLContext::platformDisplayLost() ||
        !AEOpenGLContextManager::getSharedDataContext()) {
        return;
    }
    AEOpenGLContextManager::forgetContexts();
    AEOpenGLContextManager::setupContextManager();
    AEOpenglMainFrameBuffer::mainFrameBuffer()->destory();
    if (mWarpRender) {
        delete mWarpRender;
        mWarpRender = new GaussianBlurRender();
    }
    // Deleting programs the new share group never had is an error of this context alone.
    AEOpenGLUtilities::ClearGLErrors();
}

PF_Err GlobalSetup(PF_OutData* out_data) {
    out_data->my_version =
        PF_VERSION(kMajorVersion, kMinorVersion, kBugVersion, PF_Stage_DEVELOP, kBuildVersion);
    // 8 bits a channel only, and frames come through smart rendering.
    out_data->out_flags = PF_OutFlag_NONE;
    out_data->out_flags2 = PF_OutFlag2_SUPPORTS_SMART_RENDER;

    std::lock_guard<std::mutex> lock(RenderLock());
    // A host may set the effect down and up again without unloading it.
    if (!mWarpRender) {
        mWarpRender = new GaussianBlurRender();
    }
    HostContextGuard hostContext;
    RecoverFromLostDisplay();
    AEOpenGLContextManager::setupContextManager();
    hostContext.restore();
    return PF_Err_NONE;
}

PF_Err GlobalSetdown() {
    std::lock_guard<std::mutex> lock(RenderLock());
    HostContextGuard hostContext;
    RecoverFromLostDisplay();
    // Without a data context no GL object was ever made.
    if (AEOpenGLContext* data = AEOpenGLContextManager::getSharedDataContext()) {
        // The frame's kept storage goes in the render context that used it last, with that
        // context's frame-buffer objects: deleted from the data context instead, the driver
        // keeps what the render context made of it (llvmpipe: for good).
        AEOpenglMainFrameBuffer* stack = AEOpenglMainFrameBuffer::mainFrameBuffer();
        if (AEOpenGLContext* last =
                AEOpenGLContextManager::findRenderContext(stack->framebufferContext())) {
            last->makeContextCurrent();
            stack->unprepare();
        }
        data->makeContextCurrent();
        if (mWarpRender) {
            AEOpenglMainFrameBuffer::mainFrameBuffer()->destory();
            delete mWarpRender;
            mWarpRender = nullptr;
        }
    }
    AEOpenGLContextManager::releaseContextManager();
    hostContext.restore();
    return PF_Err_NONE;
}

// One frame. What the host is asked for (pixel starts, the read-back handle)
// comes before and after the GL half, which runs under the render lock on this
// thread's render context, with the host's context put back however it ends.
void RenderFrame(PF_InData* in_data, PF_EffectWorld* inputWorld, PF_EffectWorld* outputWorld,
                 double blur) {
    // The effect declares 8 bits a channel, so that is what it is given.
    const int format = PF_PixelFormat_ARGB32;
    const AEOpenGLUtilities::HostRows input =
        AEOpenGLUtilities::GetHostRows(format, inputWorld, in_data);
    const AEOpenGLUtilities::HostRows output =
        AEOpenGLUtilities::GetHostRows(format, outputWorld, in_data);
    const int64_t width = inputWorld->width;
    const int64_t height = inputWorld->height;
    unsigned long pixelSize = sizeof(PF_Pixel8);
    GLenum pixelType = GL_UNSIGNED_BYTE;
    float multiplier = 1.0f;
    AEOpenGLUtilities::HostBuffer readBack(in_data,
                                           static_cast<uint64_t>(width * height) * pixelSize);

    {
        std::lock_guard<std::mutex> lock(RenderLock());
        if (!mWarpRender) {
            // Set down already: nothing to render with.
            throw PF_Err{PF_Err_BAD_CALLBACK_PARAM};
        }
        HostContextGuard hostContext;
        RecoverFromLostDisplay();
        AEOpenGLContext* context = AEOpenGLContextManager::getCurrentRenderContext();
        if (!context) {
            throw PF_Err{PF_Err_BAD_CALLBACK_PARAM};
        }
        context->makeContextCurrent();

        AEOpenglMainFrameBuffer* stack = AEOpenglMainFrameBuffer::mainFrameBuffer();
        AEOpenGLUtilities::ClearGLErrors();
        // A failed frame leaves no level open, and nothing that it made is kept: what failed to
        // get its storage must not serve the next frame.
        ScopeExit discard([&] {
            stack->discardFrameObjects();
            mWarpRender->releaseBuffer();
        });

        // Single-sampled levels: every pass draws one quad over the whole level, so the samples
        // of a pixel would all hold one value, at several times the memory and bandwidth. The
        // frames are the multisampled ones byte for byte.
        stack->prepare(width, height, false);
        stack->beginDrawing();
        mWarpRender->setBlurScale(blur);
        const GLuint inputTexture = stack->frameInputTexture();
        AEOpenGLUtilities::UploadRowsInto(inputTexture, format, input, pixelSize, pixelType,
                                          multiplier);
        AEOpenGLUtilities::CheckGLErrors(false);
        mWarpRender->draw(inputTexture, multiplier);
        stack->endDrawing(multiplier);
        // The read-back waits for the GPU anyway: asking here costs nothing, and a frame that
        // failed is never handed back as rendered.
        AEOpenGLUtilities::CheckGLErrors(true);
        discard.release();

        AEOpenGLUtilities::ReadFrame(static_cast<unsigned int>(width),
                                     static_cast<unsigned int>(height), pixelType, readBack.data());
        // The kept texture and level stay bound in this context otherwise, and a context that
        // goes with a binding to an object another context deleted keeps its storage for good.
        glBindTexture(GL_TEXTURE_2D, 0);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        hostContext.restore();
    }

    AEOpenGLUtilities::WriteRows(readBack.data(), static_cast<unsigned int>(width),
                                 static_cast<unsigned int>(height), pixelSize, output);
}

PF_Err SmartRender(PF_InData* in_data, PF_SmartRenderExtra* extra) {
    PF_EffectWorld* inputWorld = nullptr;
    PF_EffectWorld* outputWorld = nullptr;
    if (const PF_Err err =
            extra->cb->checkout_layer_pixels(in_data->effect_ref, kInputCheckoutId, &inputWorld)) {
        return err;
    }
    if (const PF_Err err = extra->cb->checkout_output(in_data->effect_ref, &outputWorld)) {
        return err;
    }
    if (!inputWorld || !outputWorld) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }

    // A host that lacks one of these fails the frame; none of their
    // functions is called.
    SuiteScoper<AEGP_PFInterfaceSuite1> interfaceSuite(in_data, kAEGPPFInterfaceSuite,
                                                       kAEGPPFInterfaceSuiteVersion1);
    SuiteScoper<AEGP_LayerSuite5> layerSuite(in_data, kAEGPLayerSuite, kAEGPLayerSuiteVersion5);
    SuiteScoper<AEGP_ItemSuite6> itemSuite(in_data, kAEGPItemSuite, kAEGPItemSuiteVersion6);

    // The slider is in pixels of the full frame; after a failed check-out
    // the frame is made all the same, without blur.
    PF_ParamDef blurDef;
    AEFX_CLR_STRUCT(blurDef);
    const PF_Err checkoutError =
        in_data->inter.checkout_param(in_data->effect_ref, kBlurScaleParam, in_data->current_time,
                                      in_data->time_step, in_data->time_scale, &blurDef);
    const double denominator = static_cast<float>(in_data->downsample_x.den);
    const double value = checkoutError == PF_Err_NONE ? blurDef.u.fs_d.value : 0.0;
    const double blur = value / denominator;
    const PF_Err checkinError = in_data->inter.checkin_param(in_data->effect_ref, &blurDef);

    // An empty layer has nothing to blur and nothing to write. The host's
    // callbacks above run outside the render lock.
    if (inputWorld->width > 0 && inputWorld->height > 0) {
        RenderFrame(in_data, inputWorld, outputWorld, blur);
    }
    return checkoutError != PF_Err_NONE ? checkoutError : checkinError;
}

PF_Err ParamsSetup(PF_InData* in_data, PF_OutData* out_data) {
    // The input layer counts as parameter 0.
    out_data->num_params = 2;

    PF_ParamDef def;
    AEFX_CLR_STRUCT(def);
    def.uu.id = kBlurScaleDiskId;
    def.param_type = PF_Param_FLOAT_SLIDER;
    in_data->utils->ansi.strcpy(def.name, "Blur Scale");
    def.u.fs_d.value = 0.0;
    def.u.fs_d.dephault = 0.0f;
    def.u.fs_d.valid_min = 0.0f;
    def.u.fs_d.valid_max = kBlurScaleMax;
    def.u.fs_d.slider_min = 0.0f;
    def.u.fs_d.slider_max = kBlurScaleMax;
    def.u.fs_d.curve_tolerance = AEFX_AUDIO_DEFAULT_CURVE_TOLERANCE;
    def.u.fs_d.precision = PF_Precision_INTEGER;
    def.u.fs_d.display_flags = PF_ValueDisplayFlag_NONE;
    def.u.fs_d.fs_flags = PF_FSliderFlag_NONE;
    return in_data->inter.add_param(in_data->effect_ref, -1, &def);
}

// Asks for the input as the host asked for the output, and reports what the
// input delivers as the result: the blur does not grow the frame.
PF_Err SmartPreRender(PF_InData* in_data, PF_PreRenderExtra* extra) {
    PF_RenderRequest request = extra->input->output_request;
    PF_CheckoutResult checkout;
    AEFX_CLR_STRUCT(checkout);
    const PF_Err err =
        extra->cb->checkout_layer(in_data->effect_ref, 0, 0, &request, in_data->current_time,
                                  in_data->time_step, in_data->time_scale, &checkout);
    if (err != PF_Err_NONE) {
        // A failed check-out's rectangles mean nothing.
        return err;
    }
    UnionRect(&checkout.result_rect, &extra->output->result_rect);
    UnionRect(&checkout.max_result_rect, &extra->output->max_result_rect);
    return PF_Err_NONE;
}

PF_Err Dispatch(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, void* extra) {
    switch (cmd) {
    case PF_Cmd_ABOUT:
        return About(in_data, out_data);
    case PF_Cmd_GLOBAL_SETUP:
        return GlobalSetup(out_data);
    case PF_Cmd_GLOBAL_SETDOWN:
        return GlobalSetdown();
    case PF_Cmd_PARAMS_SETUP:
        return ParamsSetup(in_data, out_data);
    case PF_Cmd_SMART_PRE_RENDER:
        return SmartPreRender(in_data, static_cast<PF_PreRenderExtra*>(extra));
    case PF_Cmd_SMART_RENDER:
        return SmartRender(in_data, static_cast<PF_SmartRenderExtra*>(extra));
    default:
        // Pixels are made by smart rendering alone; every other command,
        // the classic render included, is acknowledged and ignored.
        return PF_Err_NONE;
    }
}

} // namespace

bool IsEmptyRect(const PF_LRect* rect) {
    return rect->left >= rect->right || rect->top >= rect->bottom;
}

} // namespace Brindel::GaussianBlur

extern "C" DllExport PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                           PF_ParamDef* /*params*/[], PF_LayerDef* /*output*/,
                                           void* extra) {
    using namespace Brindel::GaussianBlur;
    // Nothing may cross into the host: failures become return codes here.
    try {
        return Dispatch(cmd, in_data, out_data, extra);
    } catch (PF_Err) {
        return PF_Err_BAD_CALLBACK_PARAM;
    } catch (const std::bad_alloc&) {
        return PF_Err_OUT_OF_MEMORY;
    } catch (...) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
}
