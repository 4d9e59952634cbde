#include "manager/EventLoops.h"

#include "tests/support/FakeHost.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{
// A fault in either loop ends both, and leaves with the message of the fault.
TEST(EventLoops, WhatAHandlerThrowsLeavesTheMainLoop)
{
    CFakeHost host;
    for (const bool onHeartbeat : {false, true})
    {
        const std::atomic<bool> stopped{false};
        CEventLoops loops(stopped);
        loops.StartHeartbeatThread();
        const auto fault = [] { throw std::runtime_error("broken"); };
        onHeartbeat ? loops.PostHeartbeat(fault) : loops.PostMain(fault);
        try
        {
            loops.RunMain();
            FAIL() << "the fault was swallowed";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ(error.what(), "broken");
        }
    }
}
} // namespace
