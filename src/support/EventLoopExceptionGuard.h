#pragma once

#include <functional>

// Runs one delivery of the event loop so that an exception thrown by the
// code it calls is logged with its trace (through WMExceptionDelegate) and
// the loop goes on, instead of ending the program.
class EventLoopExceptionGuard
{
public:
    // The delivery's answer, or false when it threw.
    static bool deliver(const std::function<bool()>& delivery);
};
