#pragma once

#include <array>
#include <atomic>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "AE_Effect.h"
#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_GeneralPlug.h"
#include "DrawbotSuite.h"
#include "HostGLContext.h"
#include "PluginModule.h"
#include "ScriptingSuites.h"
#include "SuiteRegistry.h"
#include "World.h"

namespace Brindel::Host {

// The host callbacks that can be told to fail.
enum class Callback {
    AddParam,
    CheckoutParam,
    CheckinParam,
    AnsiSprintf, // fails by writing nothing and returning -1
    AnsiStrcpy,  // fails by copying nothing and returning null
    CheckoutLayer,
    CheckoutLayerPixels,
    CheckoutOutput,
    GetPixelData8,
    GetPixelData16,
    Iterate,
    NewHandle, // fails by giving no handle
    Count
};

// Plays the host for one effect module, in-process: it owns the records the
// host hands an effect, serves its suites and callbacks, keeps the
// parameters the effect registers and calls the module's entry point.
// One host at a time; its callbacks may be called from several threads.
class EffectHost {
public:
    explicit EffectHost(const std::string& pluginPath);
    ~EffectHost();
    EffectHost(const EffectHost&) = delete;
    EffectHost& operator=(const EffectHost&) = delete;

    // What an effect's error code says, for a message that goes on "the plug-in ...":
    // "ran out of memory (GPU or host)" for 4, and so on.
    static const char* ErrorReason(PF_Err code);

    // Calls the entry point with `cmd`, with the host's own GL context of the
    // calling thread current; the result is the effect's. Throws HostGLError,
    // without calling, when that context cannot be made current.
    PF_Err send(PF_Cmd cmd, void* extra = nullptr, PF_LayerDef* output = nullptr);
    // Calls the entry point as it is, leaving the calling thread's GL and EGL
    // state to the caller.
    PF_Err call(PF_Cmd cmd, void* extra = nullptr, PF_LayerDef* output = nullptr);
    // Whether commands are sent with the host's own GL context current (the
    // default), or with whatever the calling thread has: a host with no GL,
    // one of its own, or another client API bound.
    void useHostContext(bool use) { mUseHostContext = use; }

    // The host's GL context of the calling thread, made at its first use. When
    // the thread ends, whatever is current on it is released.
    HostGLContext& glContext();

    // The smart pre-render command with the host's own callbacks.
    PF_Err preRender(PF_PreRenderInput& input, PF_PreRenderOutput& output);
    // The smart render command: the effect checks out `input` as the layer's
    // pixels and `output` as its output. Threads may render at once, each
    // with its own worlds.
    PF_Err smartRender(World& input, World& output);
    // Makes `input` and `output` the calling thread's frame worlds outside a
    // render command, for code that calls the host's pixel functions directly.
    void useWorlds(World* input, World* output);
    // Check-outs of pixels and output succeed but give no world.
    void giveNullWorlds(bool null) { mNullWorlds = null; }

    PF_InData& inData() { return mInData; }
    PF_OutData& outData() { return mOutData; }
    SuiteRegistry& suites() { return mSuites; }
    // The scripting engine's stand-in and the memory handles it gives out.
    ScriptingSuites& scripting() { return mScripting; }

    // The next calls of `callback` fail with `code` until cleared.
    void fail(Callback callback, PF_Err code);
    // The next calls of `callback` throw `error` into the effect, as a host
    // routine that runs out of memory would.
    void raise(Callback callback, std::exception_ptr error);
    void clearFaults();
    // Runs `hook` on the calling thread each time `callback` is entered, before
    // it does anything, as a host with work of its own in a callback would.
    void onCall(Callback callback, std::function<void()> hook);
    int calls(Callback callback) const { return mCalls[index(callback)].load(); }

    // Definitions the effect added, in order; index 0 of the effect's list is
    // the input layer and is not among them.
    std::vector<PF_ParamDef> addedParams() const;
    // The value a float slider is checked out with.
    void setParamValue(PF_ParamIndex index, double value);
    // Parameters checked out and not yet checked in. A check-out counts when
    // it returns, with any code (the effect checks in after a failed one too);
    // one that threw handed nothing out, so it does not.
    int paramsOut() const { return mParamCheckouts - mParamCheckins; }

    // What the input layer delivers when it is checked out.
    void setLayerRect(const PF_LRect& rect) { mLayerRect = rect; }
    struct LayerCheckout {
        PF_ParamIndex index;
        A_long checkoutId;
        PF_RenderRequest request;
        A_long time, timeStep;
        A_u_long timeScale;
    };
    std::vector<LayerCheckout> layerCheckouts() const;

    // Handles given out by the handle suite and not yet disposed of.
    size_t liveHandles() const;

private:
    static size_t index(Callback c) { return static_cast<size_t>(c); }
    PF_Err fault(Callback callback);
    static EffectHost* active();

    static PF_Err addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def);
    static PF_Err checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long time, A_long step,
                                A_u_long scale, PF_ParamDef* param);
    static PF_Err checkinParam(PF_ProgPtr ref, PF_ParamDef* param);
    static PF_Err abortCheck(PF_ProgPtr ref);
    static PF_Err progress(PF_ProgPtr ref, A_long current, A_long total);
    static int ansiSprintf(A_char* dst, const A_char* format, ...);
    static A_char* ansiStrcpy(A_char* dst, const A_char* src);
    static PF_Err checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkoutId,
                                const PF_RenderRequest* req, A_long time, A_long step,
                                A_u_long scale, PF_CheckoutResult* result);
    static PF_Err guidMixIn(PF_ProgPtr ref, A_u_long size, const void* buffer);
    static PF_Err checkoutLayerPixels(PF_ProgPtr ref, A_long checkoutId, PF_EffectWorld** pixels);
    static PF_Err checkinLayerPixels(PF_ProgPtr ref, A_long checkoutId);
    static PF_Err checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output);
    static PF_Err getPixelData8(PF_EffectWorld* world, PF_PixelPtr pixels, PF_Pixel8** start);
    static PF_Err getPixelData16(PF_EffectWorld* world, PF_PixelPtr pixels, PF_Pixel16** start);
    static PF_Err iterateFloat(PF_InData* in_data, A_long progressBase, A_long progressFinal,
                               PF_EffectWorld* src, const PF_Rect* area, void* refcon,
                               PF_IteratePixelFloatFunc pixelFunction, PF_EffectWorld* dst);
    static PF_Err iterateFloatOrigin(PF_InData* in_data, A_long progressBase, A_long progressFinal,
                                     PF_EffectWorld* src, const PF_Rect* area,
                                     const PF_Point* origin, void* refcon,
                                     PF_IteratePixelFloatFunc pixelFunction, PF_EffectWorld* dst);
    // The format of a world the host handed out in the calling thread's frame.
    PF_PixelFormat formatOf(const PF_EffectWorld* world) const;
    static PF_Handle newHandle(A_HandleSize size);
    static void* lockHandle(PF_Handle handle);
    static void unlockHandle(PF_Handle handle);
    static void disposeHandle(PF_Handle handle);
    static A_HandleSize handleSize(PF_Handle handle);
    static PF_Err resizeHandle(A_HandleSize size, PF_Handle* handle);

    SuiteRegistry mSuites;
    ScriptingSuites mScripting;
    std::unique_ptr<PluginModule> mModule;

    PF_InData mInData{};
    PF_OutData mOutData{};
    PF_UtilCallbacks mUtils{};
    PF_ANSICallbacksSuite1 mAnsiSuite{};
    PF_HandleSuite1 mHandleSuite{};
    PF_iterateFloatSuite1 mIterateFloatSuite{};
    DRAWBOT_DrawbotSuite1 mDrawSuite{};
    // Suites the effect acquires but never calls through, opaque to it: each
    // is served as a table of recorders, so any call into one is caught.
    using OpaqueSuite = std::array<void*, 64>;
    OpaqueSuite mInterfaceSuite{};
    OpaqueSuite mLayerSuite{};
    OpaqueSuite mItemSuite{};
    std::array<OpaqueSuite, 3> mDrawbotSuites{};

    mutable std::mutex mMutex;
    std::array<std::atomic<int>, static_cast<size_t>(Callback::Count)> mCalls{};
    std::atomic<int> mParamCheckouts{0};
    std::atomic<int> mParamCheckins{0};
    std::array<PF_Err, static_cast<size_t>(Callback::Count)> mFaults{};
    std::array<std::exception_ptr, static_cast<size_t>(Callback::Count)> mRaises{};
    std::array<std::function<void()>, static_cast<size_t>(Callback::Count)> mHooks{};
    std::vector<PF_ParamDef> mParams;
    std::vector<PF_ParamDef*> mParamPointers;
    std::map<PF_ParamIndex, double> mParamValues;
    PF_LRect mLayerRect{};
    std::vector<LayerCheckout> mLayerCheckouts;
    std::set<PF_Handle> mHandles;
    std::atomic<bool> mNullWorlds{false};
    std::atomic<bool> mUseHostContext{true};
    std::map<std::thread::id, std::unique_ptr<HostGLContext>> mGLContexts;
};

} // namespace Brindel::Host
