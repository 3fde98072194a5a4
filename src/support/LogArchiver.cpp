#include "LogArchiver.h"

#include <QFile>
#include <QFileInfo>

#include <zip.h>

bool LogArchiver::packFile(const QString& filePath, const QString& archivePath)
{
    int error = 0;
    zip_t* archive = zip_open(QFile::encodeName(archivePath).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!archive)
        return false;
    zip_source_t* source = zip_source_file(archive, QFile::encodeName(filePath).constData(), 0, 0);
    if (!source) {
        zip_discard(archive);
        return false;
    }
    const QByteArray name = QFileInfo(filePath).fileName().toUtf8();
    if (zip_file_add(archive, name.constData(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
        zip_source_free(source);
        zip_discard(archive);
        return false;
    }
    return zip_close(archive) == 0;
}
