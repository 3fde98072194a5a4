#pragma once

#include "EventLoopExceptionGuard.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

// An application object whose event delivery catches exceptions: what a slot,
// timer or event handler throws is logged with its trace and the event loop
// goes on. Base is QCoreApplication (command line, tests) or QApplication
// (the window front end); the constructors are the base's.
template <typename Base> class ExceptionCatchingApplication : public Base
{
public:
    using Base::Base;

    bool notify(QObject* receiver, QEvent* event) override
    {
        return EventLoopExceptionGuard::deliver([&] { return Base::notify(receiver, event); });
    }
};

using CatchingCoreApplication = ExceptionCatchingApplication<QCoreApplication>;
