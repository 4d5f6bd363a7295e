#pragma once

#include "AE_Effect.h"
#include "AE_EffectCB.h"
#include "DrawbotSuite.h"
#include "SPBasic.h"

namespace Brindel::GaussianBlur {

// Thrown (as a plain integer) when the host cannot give a suite.
constexpr int kMissingSuiteError = A_Err_MISSING_SUITE;

PF_Err AcquireSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                    const char* errorText, void** suite);
PF_Err ReleaseSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                    const char* errorText);
PF_Err AcquireDrawbotSuites(PF_InData* in_data, PF_OutData* out_data, DRAWBOT_Suites* suites);
PF_Err ReleaseDrawbotSuites(PF_InData* in_data, PF_OutData* out_data);

namespace SuiteScoperDetail {
// Flags the failure in `outData` with `errorText`, or the default text.
void ReportMissingSuite(const PF_InData* in_data, PF_OutData* outData, const char* errorText);
} // namespace SuiteScoperDetail

// Holds one host suite for the scope of a local variable. Construction throws
// the integer kMissingSuiteError when the suite cannot be had; the suite is
// released in the destructor, so holders release in reverse order.
// `suiteName` is not copied: the caller's literal must outlive the holder.
template <typename SUITETYPE> class SuiteScoper {
public:
    SuiteScoper(const PF_InData* in_data, const char* suiteName, int version,
                PF_OutData* outData = nullptr, const char* errorText = nullptr)
        : mBasicSuite(in_data->pica_basicP), mSuiteName(suiteName), mSuiteVersion(version) {
        if (!acquire()) {
            if (outData) {
                SuiteScoperDetail::ReportMissingSuite(in_data, outData, errorText);
            }
            throw kMissingSuiteError;
        }
    }

    SuiteScoper(SPBasicSuite* basic, const char* suiteName, int version)
        : mBasicSuite(basic), mSuiteName(suiteName), mSuiteVersion(version) {
        if (!acquire()) {
            throw kMissingSuiteError;
        }
    }

    ~SuiteScoper() {
        if (mSuite) {
            mBasicSuite->ReleaseSuite(mSuiteName, mSuiteVersion);
        }
    }

    SuiteScoper(const SuiteScoper&) = delete;
    SuiteScoper& operator=(const SuiteScoper&) = delete;

    const SUITETYPE* get() const { return mSuite; }
    const SUITETYPE* operator->() const { return mSuite; }

private:
    // A host that answers success without a suite is treated as lacking it:
    // the holder's users call through the pointer unchecked.
    bool acquire() {
        const void* local = nullptr;
        if (mBasicSuite->AcquireSuite(mSuiteName, mSuiteVersion, &local) != kSPNoError || !local) {
            return false;
        }
        mSuite = static_cast<const SUITETYPE*>(local);
        return true;
    }

    const SUITETYPE* mSuite = nullptr;
    SPBasicSuite* mBasicSuite;
    const char* mSuiteName;
    A_long mSuiteVersion;
};

} // namespace Brindel::GaussianBlur
