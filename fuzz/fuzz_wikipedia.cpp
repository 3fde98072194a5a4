// One page of the encyclopedia, read with the shipped markers as an album
// article and as a page of links to follow.
#include "run/PrefsController.h"
#include "web/WikipediaInterface.h"
#include "web/WikipediaPageReader.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QStandardPaths>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

QVariantMap resources()
{
    static const QVariantMap res = PrefsController::sharedInstance()
                                       .liveResources()
                                       .value(QStringLiteral("res_WikipediaInterface"))
                                       .toMap();
    return res;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    static QCoreApplication app(*argc, *argv);
    if (resources().isEmpty())
        std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const auto source = std::make_unique<WikipediaInterface>(resources());
    static const WikipediaPageReader reader(resources());
    const QByteArray page(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto album = source->albumFromHTMLData(page)) {
        if (album->artist().isEmpty())
            std::abort();
        if (album->trackNames().size() > 999 * WikipediaPageReader::kMaxTrackLists)
            std::abort();
        const int year = album->year().toInt();
        if (!album->year().isEmpty() && (year < 1701 || year >= 2050))
            std::abort();
    }
    const QStringList links = reader.linksToFollow(QString::fromUtf8(page), QStringLiteral("Paper Lanterns"));
    if (links.size() > WikipediaPageReader::kDefaultMaxFollowedLinks)
        std::abort();
    for (const QString& link : links) {
        if (!link.startsWith(QStringLiteral("https://en.wikipedia.org/")))
            std::abort();
    }
    return 0;
}
