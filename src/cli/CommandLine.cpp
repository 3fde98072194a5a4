#include "CommandLine.h"

#include "FixCommand.h"
#include "HistoryCommand.h"
#include "LibraryCommand.h"
#include "LookupCommand.h"
#include "PrefsCommand.h"
#include "RegenerateCommand.h"
#include "ScanCommand.h"
#include "SetCommand.h"
#include "TagsCommand.h"
#include "UndoCommand.h"
#include "support/BundleInfo.h"
#include "support/LocalizedStrings.h"
#include "text/FileNameEncoding.h"

#include <utility>

CommandLine::CommandLine(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

int CommandLine::run()
{
    const QStringList args = mArguments.mid(1);
    if (args.isEmpty() || args.first() == QStringLiteral("--help") || args.first() == QStringLiteral("-h") ||
        args.first() == QStringLiteral("help"))
        return printHelp();
    if (args.first() == QStringLiteral("--version") || args.first() == QStringLiteral("-v"))
        return printVersion();
    const QStringList rest = args.mid(1);
    const QList<QByteArray> rawRest =
        mRawArguments.size() == mArguments.size() ? mRawArguments.mid(2) : QList<QByteArray>();
    if (args.first() == QStringLiteral("tags")) {
        // It reports such a file among the others.
        TagsCommand tags(rest, mOut, mErr);
        tags.setRawArguments(rawRest);
        return tags.run();
    }
    // A name that is not UTF-8 would reach the command changed: refused.
    bool unusable = false;
    for (const QByteArray& raw : rawRest) {
        if (FileNameEncoding::isRepresentable(raw))
            continue;
        print(mErr, LocalizedStrings::format(QStringLiteral("CliArgumentNotUtf8"),
                                             FileNameEncoding::shellQuoted(raw)) +
                        QLatin1Char('\n'));
        unusable = true;
    }
    if (unusable)
        return 2;
    if (args.first() == QStringLiteral("library"))
        return LibraryCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("lookup"))
        return LookupCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("prefs"))
        return PrefsCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("set"))
        return SetCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("scan"))
        return ScanCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("fix"))
        return FixCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("regenerate"))
        return RegenerateCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("history"))
        return HistoryCommand(rest, mOut, mErr).run();
    if (args.first() == QStringLiteral("undo"))
        return UndoCommand(rest, mOut, mErr).run();
    print(mErr,
          LocalizedStrings::format(QStringLiteral("CliUnknownCommand"), args.first()) + QLatin1Char('\n'));
    return 2;
}

int CommandLine::printHelp()
{
    print(mOut, LocalizedStrings::format(QStringLiteral("CliHelp"), BundleInfo::shortVersion()) +
                    QLatin1Char('\n'));
    return 0;
}

int CommandLine::printVersion()
{
    print(mOut,
          QStringLiteral("quillbeat-cli %1 (%2)\n").arg(BundleInfo::shortVersion(), BundleInfo::version()));
    return 0;
}

void CommandLine::print(std::FILE* to, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), to);
    std::fflush(to);
}
