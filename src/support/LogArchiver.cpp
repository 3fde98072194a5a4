#include "LogArchiver.h"

#include <QFile>
#include <QFileInfo>
#include <QLibrary>

#include <zip.h>

namespace {

// libzip is opened the first time a log is packed rather than linked: with
// the cryptography library it needs, loading it cost every start of the
// program more than the rest of a short command's start-up.
struct ZipFunctions
{
    decltype(&zip_open) open = nullptr;
    decltype(&zip_source_file) sourceFile = nullptr;
    decltype(&zip_file_add) fileAdd = nullptr;
    decltype(&zip_source_free) sourceFree = nullptr;
    decltype(&zip_discard) discard = nullptr;
    decltype(&zip_close) close = nullptr;

    bool isComplete() const { return open && sourceFile && fileAdd && sourceFree && discard && close; }
};

template <typename Function> void resolve(QLibrary& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(name));
}

const ZipFunctions& zipFunctions()
{
    static const ZipFunctions functions = [] {
        ZipFunctions f;
        QLibrary library(QStringLiteral(QB_LIBZIP_FILE)); // stays loaded
        if (!library.load())
            return f;
        resolve(library, "zip_open", f.open);
        resolve(library, "zip_source_file", f.sourceFile);
        resolve(library, "zip_file_add", f.fileAdd);
        resolve(library, "zip_source_free", f.sourceFree);
        resolve(library, "zip_discard", f.discard);
        resolve(library, "zip_close", f.close);
        return f;
    }();
    return functions;
}

} // namespace

bool LogArchiver::packFile(const QString& filePath, const QString& archivePath)
{
    const ZipFunctions& zip = zipFunctions();
    if (!zip.isComplete())
        return false;
    int error = 0;
    zip_t* archive = zip.open(QFile::encodeName(archivePath).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!archive)
        return false;
    zip_source_t* source = zip.sourceFile(archive, QFile::encodeName(filePath).constData(), 0, 0);
    if (!source) {
        zip.discard(archive);
        return false;
    }
    const QByteArray name = QFileInfo(filePath).fileName().toUtf8();
    if (zip.fileAdd(archive, name.constData(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
        zip.sourceFree(source);
        zip.discard(archive);
        return false;
    }
    return zip.close(archive) == 0;
}
