// Feeds arbitrary bytes to the picture header reader, as they are and behind
// a JPEG or PNG start, and checks every size it settles against the image
// reader's: the two must never differ.
#include "tags/PictureSize.h"

#include <QByteArray>
#include <QCoreApplication>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(const QByteArray& bytes)
{
    const std::optional<QSize> header = PictureSize::fromHeader(bytes);
    if (header && *header != PictureSize::fromImageReader(bytes))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_picture_size";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    check(bytes);
    check(QByteArray::fromHex("FFD8") + bytes);
    check(QByteArray("\x89PNG\r\n\x1a\n", 8) + bytes);
    return 0;
}
