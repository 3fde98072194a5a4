#pragma once

#include "TestHttpServer.h"

#include "run/PrefsController.h"
#include "web/WebDBInterface.h"

#include <QCoreApplication>
#include <QObject>
#include <QString>
#include <QVariantMap>

// Runs one album source to completion in the album-source tests: counts the
// completion calls and waits for the first (a guard against hangs, not a
// measurement of time).
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

    // "http://127.0.0.1:<port>" of a started server.
    static QString root(const TestHttpServer& server)
    {
        return QStringLiteral("http://127.0.0.1:%1").arg(server.port());
    }

    int mCompletions = 0;
    WebDBInterface* mLastSource = nullptr;
};
