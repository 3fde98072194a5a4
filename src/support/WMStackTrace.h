#pragma once

#include <QString>
#include <QStringList>

#include <exception>

// Trace texts of exceptions. Only our own WMException records its call
// stack; any other exception has no trace and answers "-". The text of the
// last exception formatted is kept, so that logging one exception several
// times symbolises its frames once.
class WMStackTrace
{
public:
    // All frames, one per line.
    static QString stackTrace(const std::exception& e);
    // At most maxLines frames (0: all). "-" when the exception has no trace;
    // the empty string when formatting failed.
    static QString stackTraceWithMaxLines(const std::exception& e, int maxLines);

    // Frame addresses as text lines, with demangled names where the
    // executable exports its symbols.
    static QStringList symbolsForAddresses(void* const* frames, int count);

    // The name an exception is logged under: a WMException's own name, the
    // demangled type name of any other.
    static QString exceptionName(const std::exception& e);
    // The processor the program was built for ("x86_64").
    static QString processorName();
};

// Writes "Exception "name": reason" and, when there is a trace, the build
// number and at most maxLines frames, to the activity log.
void WMLogException(const std::exception& e, int maxLines = 20);
