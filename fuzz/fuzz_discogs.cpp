// One answer of the record database, read as a release with the shipped
// resources; the first byte chooses the smallest acceptable image width.
#include "run/PrefsController.h"
#include "web/DiscogsInterface.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    static QCoreApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const auto source =
        std::make_unique<DiscogsInterface>(PrefsController::sharedInstance()
                                               .liveResources()
                                               .value(QStringLiteral("res_DiscogsInterface"))
                                               .toMap());
    if (size == 0)
        return 0;
    const float widths[] = {0.0f, 150.0f, 600.0f, 1e30f};
    source->setMinimumAcceptableImageSize(widths[data[0] & 3]);
    const QByteArray body(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject())
        return 0;
    const QVariantMap release = document.object().toVariantMap();
    if (const auto album = source->createAlbumWithJSONDict(release)) {
        if (album->artist().isEmpty() || album->name().isEmpty() || album->trackNames().isEmpty() ||
            album->trackNames().size() > 1000)
            std::abort();
    }
    for (auto it = release.cbegin(); it != release.cend(); ++it)
        DiscogsInterface::combinedStringFromObject(it.value(), QStringLiteral("/"), QStringLiteral("name"));
    return 0;
}
