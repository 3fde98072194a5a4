#pragma once

#include "TestHttpServer.h"
#include "TestSupport.h"

#include "run/PrefsController.h"
#include "support/WMLog.h"
#include "web/WebDBInterface.h"

#include <QCoreApplication>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <initializer_list>
#include <memory>
#include <utility>

// Tests that read the shared real answers skip themselves without them.
#define QB_SKIP_WITHOUT_FIXTURES()                                                                           \
    if (TestSupport::fixturesFolder().isEmpty())                                                             \
    GTEST_SKIP() << "no shared fixtures"

// Runs one album source to completion in the album-source tests: counts the
// completion calls and waits for the first (a guard against hangs, not a
// measurement of time). Its static helpers are what those tests share.
class AlbumSourceTestKit : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void sourceDone(WebDBInterface* source)
    {
        mLastSource = source;
        ++mCompletions;
    }

    // Starts the search and waits until the source reports completion.
    bool run(WebDBInterface& source, int timeoutMs = 60000)
    {
        source.setNotify("sourceDone", this);
        source.beginSearch();
        return TestHttpServer::waitFor([this] { return mCompletions > 0; }, timeoutMs);
    }

    // Runs the source to its end: true when it reported completion exactly
    // once, a second report given the events it would need.
    static bool runOnce(WebDBInterface& source)
    {
        AlbumSourceTestKit kit;
        if (!kit.run(source))
            return false;
        QCoreApplication::processEvents();
        return kit.mCompletions == 1;
    }

    // The shipped resource section of a source class ("res_<name>").
    static QVariantMap shippedSection(const QString& className)
    {
        return PrefsController::sharedInstance()
            .liveResources()
            .value(QStringLiteral("res_") + className)
            .toMap();
    }

    // The shipped section with each {key, path} sent to the server and no
    // pause between requests; empty when nothing is shipped.
    static QVariantMap shippedSection(const QString& className, const TestHttpServer& server,
                                      std::initializer_list<std::pair<const char*, const char*>> urls)
    {
        QVariantMap resources = shippedSection(className);
        if (resources.isEmpty())
            return resources;
        for (const auto& [key, path] : urls)
            resources.insert(QLatin1String(key), QString(root(server) + QLatin1String(path)));
        resources.insert(QStringLiteral("minIntervalSeconds"), 0);
        return resources;
    }

    // A source asking for the given song; a null album is left unset.
    template <class Source>
    static std::unique_ptr<Source> source(const QVariantMap& resources, const QString& artist,
                                          const QString& title, const QString& album = QString())
    {
        auto source = std::make_unique<Source>(resources);
        source->setArtist(artist);
        source->setSongTitle(title);
        if (!album.isNull())
            source->setAlbumTitle(album);
        return source;
    }

    // "http://127.0.0.1:<port>" of a started server.
    static QString root(const TestHttpServer& server)
    {
        return QStringLiteral("http://127.0.0.1:%1").arg(server.port());
    }

    static TestHttpServer::Response json(const QByteArray& body, int status = 200)
    {
        return TestHttpServer::Response::text(body, "application/json", status);
    }

    static QString logText() { return QString::fromUtf8(TestSupport::readFile(WMLogLocation())); }

    // A shared real answer, "<folder>/<file>" under the web fixtures.
    static QString fixture(const QString& relative)
    {
        return TestSupport::fixturesFolder() + QStringLiteral("/web/") + relative;
    }
    static QByteArray readFixture(const QString& relative)
    {
        return TestSupport::readFile(fixture(relative));
    }

    int mCompletions = 0;
    WebDBInterface* mLastSource = nullptr;
};
