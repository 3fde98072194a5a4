#include "WMUsage.h"

#include "library/LiveResources.h"
#include "support/BundleInfo.h"
#include "support/WMLog.h"
#include "web/WMHTTPQueue.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>
#include <QSettings>
#include <QSysInfo>
#include <QUrl>

#include <plist/plist.h>

#include <memory>

namespace {

constexpr int kMaxNoteDepth = 32;
// Seconds between 1970-01-01 and 2001-01-01, the epoch of property-list dates.
constexpr qint64 kPlistEpochOffset = 978307200;

struct PlistFree
{
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

plist_t toPlist(const QVariant& value, int depth)
{
    if (depth > kMaxNoteDepth)
        return plist_new_string("");
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const qint64 msecs = value.toDateTime().toMSecsSinceEpoch() - kPlistEpochOffset * 1000;
        return plist_new_date(static_cast<int32_t>(msecs / 1000),
                              static_cast<int32_t>((msecs % 1000) * 1000));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        plist_t array = plist_new_array();
        for (const QVariant& item : value.toList())
            plist_array_append_item(array, toPlist(item, depth + 1));
        return array;
    }
    case QMetaType::QVariantMap: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), toPlist(it.value(), depth + 1));
        return dict;
    }
    default:
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

WMUsage* WMUsage::sharedInstance()
{
    static QPointer<WMUsage> shared;
    if (!shared)
        shared = new WMUsage(QCoreApplication::instance()); // owned by the application object
    return shared;
}

WMUsage::WMUsage(QObject* parent) : QObject(parent)
{
    // A last attempt at quit, while the event loop and the HTTP queue still exist.
    if (QCoreApplication::instance())
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, [this] {
            if (mPurgeTimer && mPurgeTimer->isActive())
                purgeQueue();
        });
}

WMUsage::~WMUsage() = default;

void WMUsage::addUsageNoteForClass(const QString& className, const QString& description, const QString& key,
                                   const QVariant& info)
{
    const QVariantList note{className, description, key, info};
    if (!mQueue.contains(QVariant(note)))
        mQueue.append(QVariant(note));
    if (!mPurgeTimer)
        startTimer(kPurgeIntervalMs);
}

void WMUsage::startTimer(int ms)
{
    if (!mPurgeTimer) {
        mPurgeTimer = std::make_unique<QTimer>();
        mPurgeTimer->setSingleShot(true);
        connect(mPurgeTimer.get(), &QTimer::timeout, this, &WMUsage::purgeQueue);
    }
    mPurgeTimer->start(ms);
}

void WMUsage::purgeQueue()
{
    if (!QSettings().value(QStringLiteral("postStatistics"), false).toBool())
        return; // the fired timer stays recorded
    if (mQueue.isEmpty()) {
        mPurgeTimer.reset();
        return;
    }
    const QUrl url = endpoint();
    if (!url.isValid() || url.isEmpty()) {
        didPost(QVariantMap());
        return;
    }
    WMHTTPQueue::queue()->postURL(url, this, QByteArrayLiteral("didPost"), reportData(mQueue));
}

void WMUsage::didPost(const QVariantMap& answer)
{
    if (!answer.isEmpty() && !WMHTTPQueue::answerHasError(answer)) {
        mQueue.clear();
        mPurgeTimer.reset();
        return;
    }
    startTimer(kPurgeIntervalMs); // try again later
}

QUrl WMUsage::endpoint()
{
    const QString text = LiveResources::shared().resources()
                             .value(QStringLiteral("statisticsEndpoint"))
                             .toString();
    if (text.isEmpty())
        return {};
    const QUrl url(text);
    if (url.scheme() != QStringLiteral("http") && url.scheme() != QStringLiteral("https"))
        return {};
    return url;
}

QString WMUsage::systemVersion()
{
    static const QString version = [] {
        // The product version where it has numbers, else the kernel's.
        static const QRegularExpression numbers(QStringLiteral("^(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
        QRegularExpressionMatch match = numbers.match(QSysInfo::productVersion());
        if (!match.hasMatch())
            match = numbers.match(QSysInfo::kernelVersion());
        const int major = match.captured(1).toInt();
        const int minor = match.captured(2).toInt();
        const int bugFix = match.captured(3).toInt();
        return WMFormat::string("%d.%d.%d", major, minor, bugFix);
    }();
    return version;
}

QByteArray WMUsage::reportData(const QVariantList& notes)
{
    static const QString version = BundleInfo::shortVersion();
    const QVariantMap report{{QStringLiteral("quillbeat"), version},
                             {QStringLiteral("os"), systemVersion()},
                             {QStringLiteral("submissions"), notes}};
    const PlistPtr root(toPlist(report, 0));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(static_cast<plist_t>(root.get()), &xml, &length);
    if (!xml)
        return {};
    QByteArray bytes(xml, static_cast<qsizetype>(length));
    plist_to_xml_free(xml);
    bytes.replace('\n', '\r');
    return bytes;
}
