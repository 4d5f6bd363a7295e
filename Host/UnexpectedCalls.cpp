#include "UnexpectedCalls.h"

#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "AE_Effect.h"

namespace Brindel::Host {

namespace {

// Enough distinct recorders for every unimplemented slot of every table the
// host hands out.
constexpr std::size_t kRecorders = 512;

using Slot = void (*)();

struct Registry {
    std::mutex mutex;
    std::array<std::string, kRecorders> names;
    // One recorder per table slot, shared by every host made in the process.
    std::map<std::string, std::size_t> byName;
    std::vector<std::string> calls;
};

Registry& registry() {
    static Registry r;
    return r;
}

// Called through pointers of every slot type: it reads no argument, and the
// integer it returns is what a PF_Err or A_Err slot yields.
template <std::size_t I> A_long Recorder() {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.calls.push_back(r.names[I]);
    return PF_Err_INVALID_CALLBACK;
}

template <std::size_t... I>
std::array<Slot, sizeof...(I)> MakeRecorders(std::index_sequence<I...>) {
    return {reinterpret_cast<Slot>(&Recorder<I>)...};
}

const std::array<Slot, kRecorders>& recorders() {
    static const std::array<Slot, kRecorders> all =
        MakeRecorders(std::make_index_sequence<kRecorders>{});
    return all;
}

} // namespace

void UnexpectedCalls::Fill(void* table, std::size_t first, std::size_t count,
                           const char* tableName) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto* bytes = static_cast<unsigned char*>(table) + first;
    for (std::size_t slot = 0; slot < count; ++slot) {
        Slot current = nullptr;
        std::memcpy(&current, bytes + slot * sizeof(Slot), sizeof(Slot));
        if (current != nullptr) {
            continue;
        }
        const std::string name = std::string(tableName) + "#" + std::to_string(slot);
        auto found = r.byName.find(name);
        if (found == r.byName.end()) {
            if (r.byName.size() == kRecorders) {
                throw std::logic_error("more unimplemented host slots than recorders");
            }
            const std::size_t index = r.byName.size();
            r.names[index] = name;
            found = r.byName.emplace(name, index).first;
        }
        const Slot recorder = recorders()[found->second];
        std::memcpy(bytes + slot * sizeof(Slot), &recorder, sizeof(Slot));
    }
}

std::vector<std::string> UnexpectedCalls::Recorded() {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.calls;
}

void UnexpectedCalls::Clear() {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.calls.clear();
}

} // namespace Brindel::Host
