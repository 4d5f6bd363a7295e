#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Brindel::Host {

// A host built from the vendor's SDK fills every slot of every table it hands
// an effect. The slots this host does not implement get a recorder each: the
// call fails with PF_Err_INVALID_CALLBACK and is written down as "table#slot",
// so an effect that reaches for the wrong slot fails a test instead of jumping
// through a null pointer or passing by accident.
class UnexpectedCalls {
public:
    UnexpectedCalls() = delete;

    // Puts a recorder into each of the `count` pointer slots that start at
    // byte `first` of `table` and are still null. Slots already set stay.
    static void Fill(void* table, std::size_t first, std::size_t count, const char* tableName);

    // The calls recorded since the last Clear, in order.
    static std::vector<std::string> Recorded();
    static void Clear();
};

} // namespace Brindel::Host
