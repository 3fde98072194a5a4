#include "WMStackTrace.h"

#include "BundleInfo.h"
#include "WMException.h"
#include "WMLog.h"

#include <QSysInfo>

#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <execinfo.h>
#include <memory>
#include <mutex>
#include <typeinfo>

namespace {

// The one remembered trace. Keyed by the exception's address and serial
// number, so that a new exception made where an old one lived is not
// mistaken for it.
struct TraceCache
{
    std::mutex lock;
    const void* address = nullptr;
    quint64 serial = 0;
    int maxLines = -1;
    QString text;
};

TraceCache& cache()
{
    static TraceCache c;
    return c;
}

QString demangled(const char* name)
{
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> plain(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                      &std::free);
    return status == 0 && plain ? QString::fromUtf8(plain.get()) : QString::fromUtf8(name);
}

// "module(mangled+0x1f) [0x...]" with the mangled name made readable.
QString readableSymbolLine(const char* line)
{
    QString text = QString::fromUtf8(line);
    const qsizetype open = text.indexOf(QLatin1Char('('));
    const qsizetype plus = open < 0 ? -1 : text.indexOf(QLatin1Char('+'), open);
    if (open < 0 || plus <= open + 1)
        return text;
    const QByteArray mangled = text.mid(open + 1, plus - open - 1).toUtf8();
    return text.left(open + 1) + demangled(mangled.constData()) + text.mid(plus);
}

} // namespace

QString WMStackTrace::stackTrace(const std::exception& e)
{
    return stackTraceWithMaxLines(e, 0);
}

QString WMStackTrace::stackTraceWithMaxLines(const std::exception& e, int maxLines)
{
    try {
        const auto* own = dynamic_cast<const WMException*>(&e);
        if (!own)
            return QStringLiteral("-");
        TraceCache& c = cache();
        {
            std::lock_guard guard(c.lock);
            if (c.address == own && c.serial == own->serial() && c.maxLines == maxLines)
                return c.text;
        }
        const std::vector<void*>& frames = own->callStackReturnAddresses();
        int count = static_cast<int>(frames.size());
        if (maxLines > 0 && count > maxLines)
            count = maxLines;
        QString text = symbolsForAddresses(frames.data(), count).join(QLatin1Char('\n'));
        if (text.isEmpty())
            text = own->userInfo().value(WMException::stackTraceKey()).toString();
        if (text.isEmpty())
            return QStringLiteral("-");
        std::lock_guard guard(c.lock);
        c.address = own;
        c.serial = own->serial();
        c.maxLines = maxLines;
        c.text = text;
        return text;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "stackTraceWithMaxLines %d: %s\n", maxLines, failure.what());
        return QString();
    }
}

QStringList WMStackTrace::symbolsForAddresses(void* const* frames, int count)
{
    QStringList lines;
    if (!frames || count <= 0)
        return lines;
    std::unique_ptr<char*, decltype(&std::free)> symbols(::backtrace_symbols(frames, count), &std::free);
    lines.reserve(count);
    for (int i = 0; i < count; ++i) {
        if (symbols)
            lines.append(readableSymbolLine(symbols.get()[i]));
        else
            lines.append(QString::asprintf("%p", frames[i]));
    }
    return lines;
}

QString WMStackTrace::exceptionName(const std::exception& e)
{
    if (const auto* own = dynamic_cast<const WMException*>(&e))
        return own->name();
    return demangled(typeid(e).name());
}

QString WMStackTrace::processorName()
{
    return QSysInfo::buildCpuArchitecture();
}

void WMLogException(const std::exception& e, int maxLines)
{
    const QString name = WMStackTrace::exceptionName(e);
    const QString reason = QString::fromUtf8(e.what());
    const QString trace = WMStackTrace::stackTraceWithMaxLines(e, maxLines);
    if (trace.isEmpty() || trace == QLatin1String("-"))
        WMLog("Exception \"%@\": %@", name, reason);
    else
        WMLog("Exception \"%@\": %@\n- Stack trace: (build %@)\n%@", name, reason, BundleInfo::version(),
              trace);
}
