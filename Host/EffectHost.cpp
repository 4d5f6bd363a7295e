#include "EffectHost.h"

#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "UnexpectedCalls.h"

namespace Brindel::Host {

namespace {

EffectHost* sActive = nullptr;

// The worlds of the frame that the calling thread is rendering.
struct FrameWorlds {
    World* input = nullptr;
    World* output = nullptr;
};
thread_local FrameWorlds tFrame;

// Host time: frame 0 of a 24 frames-per-second composition.
constexpr A_u_long kTimeScale = 24;
constexpr A_long kTimeStep = 1;

// A handle is a pointer to the block's pointer, as the host's handles are.
struct HandleBlock {
    void* data;
    A_HandleSize size;
};

SPErr getSupplier(DRAWBOT_DrawRef, DRAWBOT_SupplierRef*) {
    return A_Err_GENERIC;
}
SPErr getSurface(DRAWBOT_DrawRef, DRAWBOT_SurfaceRef*) {
    return A_Err_GENERIC;
}

// Every pointer slot of `table` that is still null gets a recorder.
template <typename Table> void FillTable(Table& table, const char* name) {
    static_assert(sizeof(Table) % sizeof(void*) == 0, "a table of pointers only");
    UnexpectedCalls::Fill(&table, 0, sizeof(Table) / sizeof(void*), name);
}

template <typename Table> void fillAnsi(Table& t) {
    t.atan = [](A_FpLong x) { return std::atan(x); };
    t.atan2 = [](A_FpLong y, A_FpLong x) { return std::atan2(y, x); };
    t.ceil = [](A_FpLong x) { return std::ceil(x); };
    t.cos = [](A_FpLong x) { return std::cos(x); };
    t.exp = [](A_FpLong x) { return std::exp(x); };
    t.fabs = [](A_FpLong x) { return std::fabs(x); };
    t.floor = [](A_FpLong x) { return std::floor(x); };
    t.fmod = [](A_FpLong x, A_FpLong y) { return std::fmod(x, y); };
    t.hypot = [](A_FpLong x, A_FpLong y) { return std::hypot(x, y); };
    t.log = [](A_FpLong x) { return std::log(x); };
    t.log10 = [](A_FpLong x) { return std::log10(x); };
    t.pow = [](A_FpLong x, A_FpLong y) { return std::pow(x, y); };
    t.sin = [](A_FpLong x) { return std::sin(x); };
    t.sqrt = [](A_FpLong x) { return std::sqrt(x); };
    t.tan = [](A_FpLong x) { return std::tan(x); };
    t.asin = [](A_FpLong x) { return std::asin(x); };
    t.acos = [](A_FpLong x) { return std::acos(x); };
}

} // namespace

EffectHost::EffectHost(const std::string& pluginPath) {
    if (sActive) {
        throw std::logic_error("only one effect host can be active at a time");
    }

    fillAnsi(mUtils.ansi);
    mUtils.ansi.sprintf = &EffectHost::ansiSprintf;
    mUtils.ansi.strcpy = &EffectHost::ansiStrcpy;
    mUtils.get_pixel_data8 = &EffectHost::getPixelData8;
    mUtils.get_pixel_data16 = &EffectHost::getPixelData16;
    fillAnsi(mAnsiSuite);
    mAnsiSuite.sprintf = &EffectHost::ansiSprintf;
    mAnsiSuite.strcpy = &EffectHost::ansiStrcpy;

    mHandleSuite = {&EffectHost::newHandle,     &EffectHost::lockHandle, &EffectHost::unlockHandle,
                    &EffectHost::disposeHandle, &EffectHost::handleSize, &EffectHost::resizeHandle};
    mIterateFloatSuite = {&EffectHost::iterateFloat, &EffectHost::iterateFloatOrigin,
                          &EffectHost::iterateFloatOrigin};
    mDrawSuite = {&getSupplier, &getSurface};
    mUtils.host_new_handle = &EffectHost::newHandle;
    mUtils.host_lock_handle = &EffectHost::lockHandle;
    mUtils.host_unlock_handle = &EffectHost::unlockHandle;
    mUtils.host_dispose_handle = &EffectHost::disposeHandle;
    mUtils.host_get_handle_size = &EffectHost::handleSize;
    mUtils.host_resize_handle = &EffectHost::resizeHandle;

    // What the host does not implement fails, and says so, when called.
    UnexpectedCalls::Fill(&mUtils, 0, offsetof(PF_UtilCallbacks, ansi) / sizeof(void*),
                          "PF_UtilCallbacks");
    UnexpectedCalls::Fill(
        &mUtils, offsetof(PF_UtilCallbacks, colorCB),
        (offsetof(PF_UtilCallbacks, reserved) - offsetof(PF_UtilCallbacks, colorCB)) /
            sizeof(void*),
        "PF_UtilCallbacks.colorCB+");
    UnexpectedCalls::Fill(&mUtils.ansi, 0, offsetof(PF_ANSICallbacks, ansi_procs) / sizeof(void*),
                          "PF_ANSICallbacks");
    FillTable(mAnsiSuite, "PF_ANSICallbacksSuite1");
    FillTable(mHandleSuite, "PF_HandleSuite1");
    FillTable(mIterateFloatSuite, "PF_iterateFloatSuite1");
    FillTable(mDrawSuite, "DRAWBOT_DrawbotSuite1");
    FillTable(mInterfaceSuite, "AEGP_PFInterfaceSuite1");
    FillTable(mLayerSuite, "AEGP_LayerSuite5");
    FillTable(mItemSuite, "AEGP_ItemSuite6");
    FillTable(mDrawbotSuites[0], "DRAWBOT_SupplierSuite1");
    FillTable(mDrawbotSuites[1], "DRAWBOT_SurfaceSuite2");
    FillTable(mDrawbotSuites[2], "DRAWBOT_PathSuite1");

    mSuites.add(kPFANSISuite, kPFANSISuiteVersion1, &mAnsiSuite);
    mSuites.add(kPFHandleSuite, kPFHandleSuiteVersion1, &mHandleSuite);
    mSuites.add(kPFIterateFloatSuite, kPFIterateFloatSuiteVersion1, &mIterateFloatSuite);
    mSuites.add(kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1, mInterfaceSuite.data());
    mSuites.add(kAEGPLayerSuite, kAEGPLayerSuiteVersion5, mLayerSuite.data());
    mSuites.add(kAEGPItemSuite, kAEGPItemSuiteVersion6, mItemSuite.data());
    mSuites.add(kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuite_Version1, &mDrawSuite);
    mSuites.add(kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuite_Version1, mDrawbotSuites[0].data());
    mSuites.add(kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuite_Version2, mDrawbotSuites[1].data());
    mSuites.add(kDRAWBOT_PathSuite, kDRAWBOT_PathSuite_Version1, mDrawbotSuites[2].data());
    mScripting.addTo(mSuites);

    mInData.inter.checkout_param = &EffectHost::checkoutParam;
    mInData.inter.checkin_param = &EffectHost::checkinParam;
    mInData.inter.add_param = &EffectHost::addParam;
    mInData.inter.abort = &EffectHost::abortCheck;
    mInData.inter.progress = &EffectHost::progress;
    UnexpectedCalls::Fill(&mInData.inter, 0,
                          offsetof(PF_InteractCallbacks, reserved_str) / sizeof(void*),
                          "PF_InteractCallbacks");
    mInData.utils = &mUtils;
    mInData.effect_ref = reinterpret_cast<PF_ProgPtr>(this);
    mInData.quality = PF_Quality_HI;
    mInData.version = {13, 28};
    mInData.current_time = 0;
    mInData.time_step = kTimeStep;
    mInData.local_time_step = kTimeStep;
    mInData.total_time = kTimeStep;
    mInData.time_scale = kTimeScale;
    mInData.field = PF_Field_FRAME;
    mInData.downsample_x = {1, 1};
    mInData.downsample_y = {1, 1};
    mInData.pixel_aspect_ratio = {1, 1};
    mInData.pica_basicP = mSuites.basicSuite();

    // Parameter 0 is the input layer.
    PF_ParamDef layer{};
    layer.param_type = PF_Param_LAYER;
    mParams.push_back(layer);

    sActive = this;
    try {
        mModule = std::make_unique<PluginModule>(pluginPath);
    } catch (...) {
        sActive = nullptr;
        throw;
    }
}

EffectHost::~EffectHost() {
    mModule.reset();
    mGLContexts.clear();
    for (PF_Handle handle : mHandles) {
        HandleBlock* block = reinterpret_cast<HandleBlock*>(handle);
        std::free(block->data);
        delete block;
    }
    sActive = nullptr;
}

EffectHost* EffectHost::active() {
    return sActive;
}

HostGLContext& EffectHost::glContext() {
    // A context still current on a thread that has ended can never be destroyed, so whatever
    // is current on a thread that used the host leaves it when the thread ends.
    struct ReleaseAtThreadEnd {
        ~ReleaseAtThreadEnd() { HostGLContext::releaseCurrent(); }
    };
    thread_local ReleaseAtThreadEnd release;
    std::lock_guard<std::mutex> lock(mMutex);
    std::unique_ptr<HostGLContext>& context = mGLContexts[std::this_thread::get_id()];
    if (!context) {
        context = std::make_unique<HostGLContext>();
    }
    return *context;
}

const char* EffectHost::ErrorReason(PF_Err code) {
    // What the effect means by them: memory it could not get, on the GPU or from the host; a
    // GL error or a broken state; a GL context it could not make or make current, or a world
    // it cannot use.
    switch (code) {
    case PF_Err_OUT_OF_MEMORY:
        return "ran out of memory (GPU or host)";
    case PF_Err_INTERNAL_STRUCT_DAMAGED:
        return "failed inside (a GL error or a damaged state)";
    case PF_Err_BAD_CALLBACK_PARAM:
        return "could not use its GL context or a world the host gave it";
    default:
        return "failed";
    }
}

PF_Err EffectHost::send(PF_Cmd cmd, void* extra, PF_LayerDef* output) {
    if (!mUseHostContext) {
        return call(cmd, extra, output);
    }
    HostGLContext& context = glContext();
    context.makeCurrent();
    const PF_Err err = call(cmd, extra, output);
    context.useBinding();
    return err;
}

PF_Err EffectHost::call(PF_Cmd cmd, void* extra, PF_LayerDef* output) {
    std::vector<PF_ParamDef*> params;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        for (PF_ParamDef& def : mParams) {
            params.push_back(&def);
        }
    }
    return mModule->entry()(cmd, &mInData, &mOutData, params.data(), output, extra);
}

PF_Err EffectHost::smartRender(World& input, World& output) {
    PF_SmartRenderInput renderInput{};
    renderInput.output_request.rect = {0, 0, output.width(), output.height()};
    renderInput.output_request.channel_mask = PF_ChannelMask_ARGB;
    renderInput.bitdepth = static_cast<short>(8 * World::PixelSize(output.format()) / 4);
    PF_SmartRenderCallbacks callbacks{&EffectHost::checkoutLayerPixels,
                                      &EffectHost::checkinLayerPixels, &EffectHost::checkoutOutput};
    renderInput.what_gpu = PF_GPU_Framework_NONE;
    PF_SmartRenderExtra extra{&renderInput, &callbacks};

    const FrameWorlds outer = tFrame;
    tFrame = {&input, &output};
    try {
        const PF_Err err = send(PF_Cmd_SMART_RENDER, &extra);
        tFrame = outer;
        return err;
    } catch (...) {
        tFrame = outer;
        throw;
    }
}

PF_Err EffectHost::preRender(PF_PreRenderInput& input, PF_PreRenderOutput& output) {
    PF_PreRenderCallbacks callbacks{&EffectHost::checkoutLayer, &EffectHost::guidMixIn};
    PF_PreRenderExtra extra{&input, &output, &callbacks};
    return send(PF_Cmd_SMART_PRE_RENDER, &extra);
}

void EffectHost::fail(Callback callback, PF_Err code) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFaults[index(callback)] = code;
}

void EffectHost::raise(Callback callback, std::exception_ptr error) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRaises[index(callback)] = std::move(error);
}

void EffectHost::onCall(Callback callback, std::function<void()> hook) {
    std::lock_guard<std::mutex> lock(mMutex);
    mHooks[index(callback)] = std::move(hook);
}

void EffectHost::clearFaults() {
    std::lock_guard<std::mutex> lock(mMutex);
    mFaults.fill(PF_Err_NONE);
    mRaises.fill(nullptr);
    mHooks.fill(nullptr);
    mSuites.clearFaults();
}

PF_Err EffectHost::fault(Callback callback) {
    ++mCalls[index(callback)];
    std::exception_ptr error;
    PF_Err code;
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        error = mRaises[index(callback)];
        code = mFaults[index(callback)];
        hook = mHooks[index(callback)];
    }
    if (hook) {
        hook();
    }
    if (error) {
        std::rethrow_exception(error);
    }
    return code;
}

std::vector<PF_ParamDef> EffectHost::addedParams() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return {mParams.begin() + 1, mParams.end()};
}

void EffectHost::setParamValue(PF_ParamIndex index, double value) {
    std::lock_guard<std::mutex> lock(mMutex);
    mParamValues[index] = value;
}

std::vector<EffectHost::LayerCheckout> EffectHost::layerCheckouts() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLayerCheckouts;
}

size_t EffectHost::liveHandles() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mHandles.size();
}

// ---- Interact callbacks ----

PF_Err EffectHost::addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !def) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const PF_Err err = self->fault(Callback::AddParam)) {
        return err;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    if (index != -1 && index != static_cast<PF_ParamIndex>(self->mParams.size())) {
        return PF_Err_INVALID_INDEX;
    }
    self->mParams.push_back(*def);
    return PF_Err_NONE;
}

PF_Err EffectHost::checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long, A_long, A_u_long,
                                 PF_ParamDef* param) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !param) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const PF_Err err = self->fault(Callback::CheckoutParam);
    ++self->mParamCheckouts;
    if (err) {
        return err;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    if (index < 0 || index >= static_cast<PF_ParamIndex>(self->mParams.size())) {
        return PF_Err_INVALID_INDEX;
    }
    *param = self->mParams[index];
    const auto value = self->mParamValues.find(index);
    if (value != self->mParamValues.end() && param->param_type == PF_Param_FLOAT_SLIDER) {
        param->u.fs_d.value = value->second;
    }
    return PF_Err_NONE;
}

PF_Err EffectHost::checkinParam(PF_ProgPtr ref, PF_ParamDef* param) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !param) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    ++self->mParamCheckins;
    return self->fault(Callback::CheckinParam);
}

PF_Err EffectHost::abortCheck(PF_ProgPtr) {
    return PF_Err_NONE;
}

PF_Err EffectHost::progress(PF_ProgPtr, A_long, A_long) {
    return PF_Err_NONE;
}

// ---- C library callbacks ----

int EffectHost::ansiSprintf(A_char* dst, const A_char* format, ...) {
    EffectHost* self = active();
    if (self && self->fault(Callback::AnsiSprintf)) {
        return -1;
    }
    va_list args;
    va_start(args, format);
    const int written = std::vsprintf(dst, format, args);
    va_end(args);
    return written;
}

A_char* EffectHost::ansiStrcpy(A_char* dst, const A_char* src) {
    EffectHost* self = active();
    if (self && self->fault(Callback::AnsiStrcpy)) {
        return nullptr;
    }
    // The host's strcpy is unbounded by contract, as the C library's is.
    return std::strcpy(dst, src); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
}

// ---- Smart render callbacks ----

PF_Err EffectHost::checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkoutId,
                                 const PF_RenderRequest* req, A_long time, A_long step,
                                 A_u_long scale, PF_CheckoutResult* result) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !req || !result) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const PF_Err err = self->fault(Callback::CheckoutLayer)) {
        return err;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    self->mLayerCheckouts.push_back({index, checkoutId, *req, time, step, scale});
    *result = PF_CheckoutResult{};
    result->result_rect = self->mLayerRect;
    result->max_result_rect = self->mLayerRect;
    result->par = {1, 1};
    result->ref_width = self->mLayerRect.right - self->mLayerRect.left;
    result->ref_height = self->mLayerRect.bottom - self->mLayerRect.top;
    return PF_Err_NONE;
}

// Smart render's identity for the pre-render: this host caches nothing, so
// there is nothing to mix into.
PF_Err EffectHost::guidMixIn(PF_ProgPtr ref, A_u_long, const void* buffer) {
    EffectHost* self = active();
    return self && ref == self->mInData.effect_ref && buffer ? PF_Err_NONE
                                                             : PF_Err_BAD_CALLBACK_PARAM;
}

void EffectHost::useWorlds(World* input, World* output) {
    tFrame = {input, output};
}

PF_Err EffectHost::checkoutLayerPixels(PF_ProgPtr ref, A_long checkoutId, PF_EffectWorld** pixels) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !pixels || checkoutId != 0 || !tFrame.input) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const PF_Err err = self->fault(Callback::CheckoutLayerPixels)) {
        return err;
    }
    *pixels = self->mNullWorlds ? nullptr : tFrame.input->effectWorld();
    return PF_Err_NONE;
}

PF_Err EffectHost::checkinLayerPixels(PF_ProgPtr ref, A_long) {
    EffectHost* self = active();
    return self && ref == self->mInData.effect_ref ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err EffectHost::checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output) {
    EffectHost* self = active();
    if (!self || ref != self->mInData.effect_ref || !output || !tFrame.output) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const PF_Err err = self->fault(Callback::CheckoutOutput)) {
        return err;
    }
    *output = self->mNullWorlds ? nullptr : tFrame.output->effectWorld();
    return PF_Err_NONE;
}

PF_PixelFormat EffectHost::formatOf(const PF_EffectWorld* world) const {
    for (const World* w : {tFrame.input, tFrame.output}) {
        if (w && w->effectWorld() == world) {
            return w->format();
        }
    }
    return PF_PixelFormat_INVALID;
}

// The pixel start of a world of the asked depth; any other world is refused.
PF_Err EffectHost::getPixelData8(PF_EffectWorld* world, PF_PixelPtr, PF_Pixel8** start) {
    EffectHost* self = active();
    if (!self || !world || !start) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *start = nullptr;
    if (const PF_Err err = self->fault(Callback::GetPixelData8)) {
        return err;
    }
    if (self->formatOf(world) != PF_PixelFormat_ARGB32) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *start = reinterpret_cast<PF_Pixel8*>(world->data);
    return PF_Err_NONE;
}

PF_Err EffectHost::getPixelData16(PF_EffectWorld* world, PF_PixelPtr, PF_Pixel16** start) {
    EffectHost* self = active();
    if (!self || !world || !start) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *start = nullptr;
    if (const PF_Err err = self->fault(Callback::GetPixelData16)) {
        return err;
    }
    if (self->formatOf(world) != PF_PixelFormat_ARGB64) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *start = reinterpret_cast<PF_Pixel16*>(world->data);
    return PF_Err_NONE;
}

// ---- Float iteration ----

// Calls the function once per pixel of the area (all of `src` without one)
// that both worlds hold, row by row; the first error ends the walk.
PF_Err EffectHost::iterateFloat(PF_InData* in_data, A_long, A_long, PF_EffectWorld* src,
                                const PF_Rect* area, void* refcon,
                                PF_IteratePixelFloatFunc pixelFunction, PF_EffectWorld* dst) {
    EffectHost* self = active();
    if (!self || !in_data || !src || !pixelFunction) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const PF_Err err = self->fault(Callback::Iterate)) {
        return err;
    }
    PF_Rect rect = area ? *area : PF_Rect{0, 0, src->width, src->height};
    A_long right = rect.right < src->width ? rect.right : src->width;
    A_long bottom = rect.bottom < src->height ? rect.bottom : src->height;
    if (dst) {
        right = right < dst->width ? right : dst->width;
        bottom = bottom < dst->height ? bottom : dst->height;
    }
    for (A_long y = rect.top < 0 ? 0 : rect.top; y < bottom; ++y) {
        auto* in = reinterpret_cast<PF_PixelFloat*>(reinterpret_cast<char*>(src->data) +
                                                    static_cast<size_t>(y) * src->rowbytes);
        auto* out = dst ? reinterpret_cast<PF_PixelFloat*>(reinterpret_cast<char*>(dst->data) +
                                                           static_cast<size_t>(y) * dst->rowbytes)
                        : nullptr;
        for (A_long x = rect.left < 0 ? 0 : rect.left; x < right; ++x) {
            if (const PF_Err err = pixelFunction(refcon, x, y, in + x, out ? out + x : nullptr)) {
                return err;
            }
        }
    }
    return PF_Err_NONE;
}

PF_Err EffectHost::iterateFloatOrigin(PF_InData*, A_long, A_long, PF_EffectWorld*, const PF_Rect*,
                                      const PF_Point*, void*, PF_IteratePixelFloatFunc,
                                      PF_EffectWorld*) {
    // Not used by effects of this family.
    return PF_Err_INVALID_CALLBACK;
}

// ---- Handle suite ----

PF_Handle EffectHost::newHandle(A_HandleSize size) {
    EffectHost* self = active();
    if (!self || self->fault(Callback::NewHandle)) {
        return nullptr;
    }
    void* data = std::malloc(size ? size : 1);
    if (!data) {
        return nullptr;
    }
    PF_Handle handle = reinterpret_cast<PF_Handle>(new HandleBlock{data, size});
    std::lock_guard<std::mutex> lock(self->mMutex);
    self->mHandles.insert(handle);
    return handle;
}

void* EffectHost::lockHandle(PF_Handle handle) {
    return handle ? *handle : nullptr;
}

void EffectHost::unlockHandle(PF_Handle) {}

void EffectHost::disposeHandle(PF_Handle handle) {
    EffectHost* self = active();
    if (!self || !handle) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(self->mMutex);
        if (self->mHandles.erase(handle) == 0) {
            return;
        }
    }
    HandleBlock* block = reinterpret_cast<HandleBlock*>(handle);
    std::free(block->data);
    delete block;
}

A_HandleSize EffectHost::handleSize(PF_Handle handle) {
    return handle ? reinterpret_cast<HandleBlock*>(handle)->size : 0;
}

PF_Err EffectHost::resizeHandle(A_HandleSize size, PF_Handle* handle) {
    if (!handle || !*handle) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    HandleBlock* block = reinterpret_cast<HandleBlock*>(*handle);
    void* data = std::realloc(block->data, size ? size : 1);
    if (!data) {
        return PF_Err_OUT_OF_MEMORY;
    }
    block->data = data;
    block->size = size;
    return PF_Err_NONE;
}

} // namespace Brindel::Host
