#include "EventLoopExceptionGuard.h"

#include "WMExceptionDelegate.h"

bool EventLoopExceptionGuard::deliver(const std::function<bool()>& delivery)
{
    try {
        return delivery();
    } catch (const std::exception& e) {
        WMExceptionDelegate::shouldHandleException(e);
    } catch (...) {
        WMExceptionDelegate::shouldHandleUnknownException();
    }
    return false;
}
