#include "iTunesScriptCatalogue.h"

#include "PropertyListReader.h"
#include "iTunesScriptRunner.h"
#include "support/WMLog.h"
#include "text/WMCompressionExtensions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QVariantMap>

#include <mutex>

namespace {

const QString& libraryName()
{
    static const QString name = QStringLiteral("Internal_Functions");
    return name;
}

QVariantMap loadCatalogue()
{
    QFile file(QStringLiteral(":/res_pack.db"));
    if (!file.open(QIODevice::ReadOnly)) {
        WMLog("!!! no script catalogue res_pack");
        return {};
    }
    const QByteArray data = WMCompressionExtensions::decompressedData(file.readAll());
    QString error;
    const QVariant tree = PropertyListReader::mutablePropertyListFromData(data, true, &error);
    if (tree.typeId() != QMetaType::QVariantMap) {
        WMLog("!!! script catalogue res_pack unreadable: %@", error);
        return {};
    }
    QVariantMap scripts;
    const QVariantMap map = tree.toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it.value().typeId() == QMetaType::QString)
            scripts.insert(it.key(), it.value());
    }
    return scripts;
}

// Loaded once per process, on first use.
const QVariantMap& catalogue()
{
    static const QVariantMap scripts = loadCatalogue();
    return scripts;
}

std::mutex gLibraryMutex;
QString gLibraryPath;
bool gLibraryFailed = false;

} // namespace

std::optional<QString> iTunesScriptCatalogue::scriptNamed(const QString& name)
{
    const auto it = catalogue().constFind(name);
    if (it == catalogue().cend()) {
        WMLog("!!! no scriptNamed '%@'", name);
        return std::nullopt;
    }
    return it.value().toString();
}

QStringList iTunesScriptCatalogue::scriptNames()
{
    return catalogue().keys();
}

std::optional<QString> iTunesScriptCatalogue::filledScriptNamed(const QString& name,
                                                                std::initializer_list<WMFormatArg> args)
{
    const std::optional<QString> format = scriptNamed(name);
    if (!format)
        return std::nullopt;
    return WMFormat::list(format->toUtf8().constData(), args);
}

std::optional<QString> iTunesScriptCatalogue::runFilledScriptNamed(const QString& name,
                                                                   std::initializer_list<WMFormatArg> args)
{
    if (!iTunesScriptRunner::isiTunesInstalled())
        return std::nullopt;
    const std::optional<QString> source = filledScriptNamed(name, args);
    if (!source)
        return std::nullopt;
    return iTunesScriptRunner::stringFromScript(*source);
}

std::optional<QString> iTunesScriptCatalogue::stringFromCompiledFunction(const QString& handler,
                                                                         const QStringList& params)
{
    if (!iTunesScriptRunner::isiTunesInstalled())
        return std::nullopt;
    const QString library = libraryScriptPath();
    if (library.isEmpty()) {
        WMLog("!!! no compiled %@ for %@", libraryName(), handler);
        return std::nullopt;
    }
    return iTunesScriptRunner::stringFromScript(compiledFunctionSource(handler, params, library));
}

QString iTunesScriptCatalogue::compiledFunctionSource(const QString& handler, const QStringList& params,
                                                      const QString& libraryPath)
{
    QStringList literals;
    literals.reserve(params.size());
    for (const QString& param : params)
        literals << escaped(param);
    const QString arguments =
        params.isEmpty() ? QString()
                         : QLatin1Char('"') + literals.join(QStringLiteral("\", \"")) + QLatin1Char('"');
    const QStringList lines = {
        QStringLiteral("on run"),
        QStringLiteral("set libPath to POSIX file \"") + escaped(libraryPath) + QLatin1Char('"'),
        QStringLiteral("set SSlib to (load script file libPath)"),
        QStringLiteral("tell SSlib"),
        QStringLiteral("try"),
        QStringLiteral("return ") + handler + QLatin1Char('(') + arguments + QLatin1Char(')'),
        QStringLiteral("on error err"),
        QStringLiteral("return \"error: \" & err"),
        QStringLiteral("end try"),
        QStringLiteral("end tell"),
        QStringLiteral("end run"),
    };
    return lines.join(QLatin1Char('\n'));
}

QString iTunesScriptCatalogue::libraryScriptPath()
{
    const std::lock_guard<std::mutex> guard(gLibraryMutex);
    if (!gLibraryPath.isEmpty() && QFileInfo::exists(gLibraryPath))
        return gLibraryPath;
    gLibraryPath.clear();
    if (gLibraryFailed)
        return {};
    const QString compiler = QStandardPaths::findExecutable(QStringLiteral("osacompile"));
    if (compiler.isEmpty())
        return {};

    const QString folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    const QString sourcePath = folder + QLatin1Char('/') + libraryName() + QStringLiteral(".applescript");
    const QString target = folder + QLatin1Char('/') + libraryName() + QStringLiteral(".scpt");
    QFile resource(QStringLiteral(":/") + libraryName() + QStringLiteral(".applescript"));
    QFile source(sourcePath);
    QString error;
    if (!QDir().mkpath(folder) || !resource.open(QIODevice::ReadOnly) || !source.open(QIODevice::WriteOnly) ||
        source.write(resource.readAll()) < 0 || !source.flush()) {
        error = resource.isOpen() ? source.errorString() : resource.errorString();
    } else {
        source.close();
        QFile::remove(target);
        if (iTunesScriptRunner::runTool(compiler, {QStringLiteral("-o"), target, sourcePath}, &error) &&
            !QFileInfo::exists(target))
            error = QStringLiteral("no output");
    }
    if (!error.isEmpty() || !QFileInfo::exists(target)) {
        WMLog("!!! could not compile %@: %@", libraryName(), error);
        gLibraryFailed = true;
        return {};
    }
    gLibraryPath = target;
    return gLibraryPath;
}

QString iTunesScriptCatalogue::escaped(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"'))
            out += QLatin1Char('\\');
        out += c;
    }
    return out;
}

void iTunesScriptCatalogue::resetLibraryScript()
{
    const std::lock_guard<std::mutex> guard(gLibraryMutex);
    gLibraryPath.clear();
    gLibraryFailed = false;
}
