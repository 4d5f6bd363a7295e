#pragma once

#include <utility>

namespace Brindel::GaussianBlur {

// Runs a clean-up when the scope is left, by return or by exception, unless
// it was released first.
template <typename Function> class ScopeExit {
public:
    explicit ScopeExit(Function function) : mFunction(std::move(function)) {}
    ~ScopeExit() {
        if (mActive) {
            mFunction();
        }
    }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

    void release() { mActive = false; }

private:
    Function mFunction;
    bool mActive = true;
};

} // namespace Brindel::GaussianBlur
