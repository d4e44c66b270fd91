// Sequence-data handles: the host's callbacks, and the plug-in's own handles
// where the host has none.
#include <gtest/gtest.h>

#include <cstring>

#include "FakeHost.h"
#include "shell/Handles.h"

namespace {

using namespace glfxshell;

TEST(Handles, HostCallbacksAreUsedWhenPresent)
{
    FakeHost h;
    PF_Handle a = newHandle(&h.in, 48);
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(h.isHostHandle(a));
    EXPECT_FALSE(isLocalHandle(a));
    EXPECT_EQ(handleSize(&h.in, a), 48);
    ASSERT_EQ(resizeHandle(&h.in, 100, &a), PF_Err_NONE);
    EXPECT_EQ(h.resizeCalls, 1);
    EXPECT_EQ(handleSize(&h.in, a), 100);
    disposeHandle(&h.in, a);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(Handles, OwnHandlesWhereTheHostHasNoCallbacks)
{
    FakeHost h;
    h.removeUtilHandleCallbacks();
    PF_Handle a = newHandle(&h.in, 16);
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(isLocalHandle(a));
    EXPECT_EQ(h.handlesLive, 0);
    std::memset(*a, 0x5A, 16);
    EXPECT_EQ(handleSize(&h.in, a), 16);
    ASSERT_EQ(resizeHandle(&h.in, 4096, &a), PF_Err_NONE);
    EXPECT_EQ(handleSize(&h.in, a), 4096);
    // Growing keeps the bytes that were there.
    EXPECT_EQ(static_cast<unsigned char*>(*a)[15], 0x5A);
    disposeHandle(&h.in, a);
    EXPECT_FALSE(isLocalHandle(a));
}

TEST(Handles, OwnHandlesStayOwnWhenCallbacksAppearLater)
{
    FakeHost h;
    PF_UtilCallbacks saved = h.utils;
    h.removeUtilHandleCallbacks();
    PF_Handle a = newHandle(&h.in, 8);
    h.utils = saved;  // host callbacks present again
    EXPECT_EQ(handleSize(&h.in, a), 8);
    EXPECT_EQ(resizeHandle(&h.in, 32, &a), PF_Err_NONE);
    EXPECT_EQ(h.resizeCalls, 0);
    disposeHandle(&h.in, a);  // the fake host would throw on a foreign handle
    EXPECT_FALSE(isLocalHandle(a));
}

TEST(Handles, HostHandlesWithoutCallbacksAreLeftAlone)
{
    FakeHost h;
    PF_Handle a = newHandle(&h.in, 8);
    PF_UtilCallbacks saved = h.utils;
    h.removeUtilHandleCallbacks();
    EXPECT_EQ(handleSize(&h.in, a), -1);
    EXPECT_EQ(resizeHandle(&h.in, 64, &a), PF_Err_INTERNAL_STRUCT_DAMAGED);
    disposeHandle(&h.in, a);
    EXPECT_EQ(h.handlesLive, 1);
    h.utils = saved;
    disposeHandle(&h.in, a);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(Handles, NullHandles)
{
    FakeHost h;
    EXPECT_EQ(handleSize(&h.in, nullptr), -1);
    PF_Handle none = nullptr;
    EXPECT_EQ(resizeHandle(&h.in, 8, &none), PF_Err_INTERNAL_STRUCT_DAMAGED);
    disposeHandle(&h.in, nullptr);
    EXPECT_EQ(handleData(nullptr), nullptr);
}

}  // namespace
