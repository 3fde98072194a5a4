#pragma once

#include "support/WMFormat.h"

#include <QString>
#include <QStringList>

#include <initializer_list>
#include <optional>

// The AppleScript texts the program sends to iTunes beyond the one-line
// inline scripts: the catalogue of named scripts (the resource
// ":/res_pack.db", a compressed property list of name -> source in which %@
// and %d stand for the arguments in order), and the handler library
// "Internal_Functions", compiled once per process into the caches folder
// where `osacompile` exists. Class operations only.
class iTunesScriptCatalogue
{
public:
    // The source format of the named script, or none (logged).
    static std::optional<QString> scriptNamed(const QString& name);
    // Every name in the catalogue, sorted.
    static QStringList scriptNames();

    // The named script filled with the arguments. Arguments that go inside
    // AppleScript string literals must be passed through `escaped` first.
    static std::optional<QString> filledScriptNamed(const QString& name,
                                                    std::initializer_list<WMFormatArg> args);

    // Fills the named script and runs it without a time-out.
    template <typename... Args>
    static std::optional<QString> stringFromScriptNameAndFormat(const QString& name, const Args&... args)
    {
        return runFilledScriptNamed(name, {WMFormatArg(args)...});
    }
    static std::optional<QString> runFilledScriptNamed(const QString& name,
                                                       std::initializer_list<WMFormatArg> args);

    // Calls a handler of the library with text parameters. A failing handler
    // answers a text beginning with "error: "; none when the library or the
    // script runner is not there.
    static std::optional<QString> stringFromCompiledFunction(const QString& handler,
                                                             const QStringList& params);
    // The script that makes that call, for a library at `libraryPath`.
    static QString compiledFunctionSource(const QString& handler, const QStringList& params,
                                          const QString& libraryPath);

    // Path of the compiled library; compiled on first use. Empty where there
    // is no `osacompile` or compiling failed.
    static QString libraryScriptPath();

    // The text with backslashes and double quotes escaped, ready to stand
    // between double quotes in a script.
    static QString escaped(const QString& text);

    // Forgets the compiled library, so that the next call compiles again.
    static void resetLibraryScript();
};
