// Sequence-data handles: the plug-in's own handles where the host has no
// callbacks, kept apart from host handles. (Host handles through the host's
// callbacks are used by the sequence tests.)
#include <gtest/gtest.h>

#include <cstring>

#include "FakeHost.h"
#include "shell/Handles.h"

namespace {

using namespace glfxshell;

TEST(Handles, OwnHandlesWhereTheHostHasNoCallbacksStayOwn)
{
    FakeHost h;
    const PF_UtilCallbacks saved = h.utils;
    h.removeUtilHandleCallbacks();
    PF_Handle a = newHandle(&h.in, 16);
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(isLocalHandle(a));
    EXPECT_EQ(h.handlesLive, 0);
    std::memset(*a, 0x5A, 16);
    EXPECT_EQ(handleSize(&h.in, a), 16);
    ASSERT_EQ(resizeHandle(&h.in, 1024, &a), PF_Err_NONE);
    // Host callbacks that appear later are not used for it.
    h.utils = saved;
    ASSERT_EQ(resizeHandle(&h.in, 4096, &a), PF_Err_NONE);
    EXPECT_EQ(h.resizeCalls, 0);
    EXPECT_EQ(handleSize(&h.in, a), 4096);
    EXPECT_EQ(static_cast<unsigned char*>(*a)[15], 0x5A); // growing keeps the bytes
    disposeHandle(&h.in, a);                              // the fake host would throw on a foreign handle
    EXPECT_FALSE(isLocalHandle(a));
}

TEST(Handles, HostHandlesWithoutCallbacksAndNullHandlesAreLeftAlone)
{
    FakeHost h;
    PF_Handle a = newHandle(&h.in, 8);
    const PF_UtilCallbacks saved = h.utils;
    h.removeUtilHandleCallbacks();
    EXPECT_EQ(handleSize(&h.in, a), -1);
    EXPECT_EQ(resizeHandle(&h.in, 64, &a), PF_Err_INTERNAL_STRUCT_DAMAGED);
    disposeHandle(&h.in, a);
    EXPECT_EQ(h.handlesLive, 1);
    h.utils = saved;
    disposeHandle(&h.in, a);
    EXPECT_EQ(h.handlesLive, 0);

    PF_Handle none = nullptr;
    EXPECT_EQ(handleSize(&h.in, none), -1);
    EXPECT_EQ(resizeHandle(&h.in, 8, &none), PF_Err_INTERNAL_STRUCT_DAMAGED);
    disposeHandle(&h.in, none);
    EXPECT_EQ(handleData(none), nullptr);
}

} // namespace
