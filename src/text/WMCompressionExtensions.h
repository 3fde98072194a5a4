#pragma once

#include <QByteArray>

#include <optional>

// gzip compression of byte buffers through a temporary gzip file and zlib's
// gzip file functions.
namespace WMCompressionExtensions {

// Largest output decompression will produce; a bigger result is cut off
// there and logged.
constexpr qint64 kMaxDecompressedSize = qint64(1) << 30;

// The buffer gzip-compressed, or the buffer itself when nothing could be
// written or read back (callers always get bytes).
QByteArray compressedData(const QByteArray& data);

// The buffer decompressed; data that is not gzip passes through unchanged.
// None for an empty buffer or when no temporary file could be made.
std::optional<QByteArray> copyDecompressedData(const QByteArray& data);

// copyDecompressedData, or the buffer itself when that gives none.
QByteArray decompressedData(const QByteArray& data);

} // namespace WMCompressionExtensions
