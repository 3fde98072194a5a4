#include "WMCompressionExtensions.h"

#include "support/WMLog.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>

#include <zlib.h>

#include <climits>

namespace WMCompressionExtensions {

namespace {

constexpr int kChunkSize = 32768;

QString temporaryFolder()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    return folder.isEmpty() ? QDir::tempPath() : folder;
}

QString numberedPath(const QString& folder, const char* format)
{
    const int number = static_cast<int>(QRandomGenerator::global()->bounded(INT_MAX));
    return folder + QLatin1Char('/') + QString::asprintf(format, number);
}

bool writeNewFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    const bool written = file.write(data) == data.size();
    file.close();
    if (!written)
        QFile::remove(path);
    return written;
}

// Reads a gzip (or plain) file through zlib, up to the size limit.
std::optional<QByteArray> readGzipFile(const QString& path)
{
    gzFile file = gzopen(QFile::encodeName(path).constData(), "r");
    if (!file)
        return std::nullopt;
    QByteArray result;
    char buffer[kChunkSize];
    for (;;) {
        const int read = gzread(file, buffer, kChunkSize);
        if (read < 1)
            break;
        if (result.size() + read > kMaxDecompressedSize) {
            WMLog("Decompressed data larger than %ld bytes; cut off there",
                  static_cast<long>(kMaxDecompressedSize));
            result.append(buffer, static_cast<qsizetype>(kMaxDecompressedSize - result.size()));
            break;
        }
        result.append(buffer, read);
    }
    gzclose(file);
    return result;
}

bool writeGzipFile(const QString& path, const QByteArray& data)
{
    gzFile file = gzopen(QFile::encodeName(path).constData(), "wb");
    if (!file)
        return false;
    bool ok = true;
    qsizetype offset = 0;
    // One call in practice; buffers beyond zlib's unsigned length go in parts.
    while (ok && offset < data.size()) {
        const unsigned part = static_cast<unsigned>(std::min<qsizetype>(data.size() - offset, INT_MAX));
        ok = gzwrite(file, data.constData() + offset, part) == static_cast<int>(part);
        offset += part;
    }
    return gzclose(file) == Z_OK && ok;
}

} // namespace

std::optional<QByteArray> copyDecompressedData(const QByteArray& data)
{
    if (data.isEmpty())
        return std::nullopt;
    QString path = numberedPath(temporaryFolder(), "decomp_%d.gz");
    if (!writeNewFile(path, data)) {
        path = numberedPath(QDir::homePath(), ".decomp_%d.gz");
        if (!writeNewFile(path, data)) {
            WMLog("Couldn't write data to decompress");
            return std::nullopt;
        }
    }
    std::optional<QByteArray> result = readGzipFile(path);
    QFile::remove(path);
    return result;
}

QByteArray decompressedData(const QByteArray& data)
{
    std::optional<QByteArray> result = copyDecompressedData(data);
    return result ? *result : data;
}

QByteArray compressedData(const QByteArray& data)
{
    QString path = numberedPath(temporaryFolder(), "comp_%d.gz");
    bool written = writeGzipFile(path, data);
    if (!written) {
        QFile::remove(path);
        path = numberedPath(QDir::homePath(), ".comp_%d.gz");
        written = writeGzipFile(path, data);
    }
    QByteArray result;
    QFile file(path);
    if (written && file.open(QIODevice::ReadOnly))
        result = file.readAll();
    file.close();
    QFile::remove(path);
    if (result.isEmpty())
        return data;
    return result;
}

} // namespace WMCompressionExtensions
