#include "ScriptingSuites.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using Brindel::Host::ScriptingSuites;
using Brindel::Host::ScriptOutcome;

TEST(ScriptingSuites, HandlesAreCountedClearedOnRequestAndLockToTheirBytes) {
    ScriptingSuites suites;
    EXPECT_THROW(ScriptingSuites second, std::logic_error);
    const AEGP_MemorySuite1& memory = suites.memorySuite();
    AEGP_MemHandle handle = nullptr;
    ASSERT_EQ(memory.AEGP_NewMemHandle(0, "test", 4, AEGP_MemFlag_CLEAR, &handle), A_Err_NONE);
    EXPECT_EQ(suites.liveHandles(), 1u);
    char* bytes = nullptr;
    ASSERT_EQ(memory.AEGP_LockMemHandle(handle, reinterpret_cast<void**>(&bytes)), A_Err_NONE);
    EXPECT_EQ(std::string(bytes, 4), std::string(4, '\0'));
    EXPECT_EQ(*reinterpret_cast<char**>(handle), bytes);
    bytes[0] = 'a';

    // A locked handle keeps its bytes where they are; once unlocked it can grow.
    EXPECT_EQ(memory.AEGP_ResizeMemHandle("test", 16, handle), A_Err_PARAMETER);
    EXPECT_EQ(memory.AEGP_UnlockMemHandle(handle), A_Err_NONE);
    EXPECT_EQ(memory.AEGP_UnlockMemHandle(handle), A_Err_PARAMETER);
    EXPECT_EQ(memory.AEGP_ResizeMemHandle("test", 16, handle), A_Err_NONE);
    AEGP_MemSize size = 0;
    A_long count = 0, total = 0;
    EXPECT_EQ(memory.AEGP_GetMemHandleSize(handle, &size), A_Err_NONE);
    EXPECT_EQ(memory.AEGP_GetMemStats(0, &count, &total), A_Err_NONE);
    EXPECT_EQ(std::vector<long>({static_cast<long>(size), count, total}),
              std::vector<long>({16, 1, 16}));
    ASSERT_EQ(memory.AEGP_LockMemHandle(handle, reinterpret_cast<void**>(&bytes)), A_Err_NONE);
    EXPECT_EQ(bytes[0], 'a');
    // Freed while locked, as the script helper does.
    EXPECT_EQ(memory.AEGP_FreeMemHandle(handle), A_Err_NONE);
    EXPECT_EQ(suites.liveHandles(), 0u);
    EXPECT_EQ(suites.unknownHandleUses(), 0);

    // A freed or unknown handle is refused and counted: the helper's tests trust these counts to
    // prove every handle went back.
    EXPECT_EQ(memory.AEGP_FreeMemHandle(handle), A_Err_PARAMETER);
    EXPECT_EQ(memory.AEGP_FreeMemHandle(nullptr), A_Err_PARAMETER);
    EXPECT_EQ(memory.AEGP_LockMemHandle(handle, reinterpret_cast<void**>(&bytes)), A_Err_PARAMETER);
    EXPECT_EQ(suites.unknownHandleUses(), 3);

    // Script handles are accounted the same way.
    ScriptOutcome outcome;
    outcome.giveError = false;
    suites.setOutcome(outcome);
    AEGP_MemHandle result = nullptr, error = nullptr;
    EXPECT_EQ(suites.utilitySuite().AEGP_ExecuteScript(0, "1", false, &result, &error), A_Err_NONE);
    EXPECT_TRUE(result != nullptr && error == nullptr);
    EXPECT_EQ(suites.liveHandles(), 1u);
    EXPECT_EQ(memory.AEGP_FreeMemHandle(result), A_Err_NONE);
    EXPECT_EQ(suites.liveHandles(), 0u);
}
