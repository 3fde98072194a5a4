#pragma once

#include "FakeOsascript.h"

#include "library/iTunesScriptCatalogue.h"
#include "library/iTunesScriptRunner.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

// Every test gets its own fake osascript first on PATH, a clean channel
// state and short poll intervals; long waits stay long unless a test
// shortens them, so that a slow machine never turns a pass into a failure.
class ScriptBridgeFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFake = std::make_unique<FakeOsascript>(
            QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        iTunesScriptRunner::reset();
        iTunesScriptRunner::setTimeoutSeconds(10.0f);
        iTunesScriptRunner::setTimings(quickTimings());
        iTunesScriptCatalogue::resetLibraryScript();
    }

    void TearDown() override
    {
        waitForWorkers();
        mFake.reset();
        iTunesScriptRunner::reset();
        iTunesScriptRunner::setTimings(iTunesScriptRunner::Timings{});
        iTunesScriptRunner::setTimeoutSeconds(10.0f);
        iTunesScriptCatalogue::resetLibraryScript();
    }

    static iTunesScriptRunner::Timings quickTimings()
    {
        iTunesScriptRunner::Timings timings;
        timings.lockPollSeconds = 0.01;
        timings.scriptPollSeconds = 0.01;
        timings.responsivePollSeconds = 0.01;
        timings.responsiveWaitSeconds = 60.0;
        timings.hardCapSeconds = 60.0;
        return timings;
    }

    // Hanging scripts are killed after a short cap, and a check gives up soon.
    static void shortenWaits()
    {
        iTunesScriptRunner::Timings timings = quickTimings();
        timings.hardCapSeconds = 1.5;
        timings.responsiveWaitSeconds = 0.3;
        iTunesScriptRunner::setTimings(timings);
    }

    // Worker threads end at the latest when the hard cap kills their script.
    static void waitForWorkers()
    {
        for (int i = 0; i < 6000 && iTunesScriptRunner::activeWorkerCount() > 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_EQ(iTunesScriptRunner::activeWorkerCount(), 0);
    }

    std::unique_ptr<FakeOsascript> mFake;
};
