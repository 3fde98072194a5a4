#pragma once

#include <QByteArray>
#include <QString>

// A stand-in for `osascript` (and `osacompile`) in a scratch folder put first
// on PATH. It reads the script from standard input, keeps it as the last
// script, and answers by the first rule whose pattern occurs in the script:
// canned output, an error exit, or a hang. A script no rule matches fails.
class FakeOsascript
{
public:
    explicit FakeOsascript(const QString& name);
    ~FakeOsascript();
    FakeOsascript(const FakeOsascript&) = delete;
    FakeOsascript& operator=(const FakeOsascript&) = delete;

    // Rules are tried in the order they were added.
    void answer(const QByteArray& pattern, const QByteArray& output);
    void fail(const QByteArray& pattern, const QByteArray& message, int exitCode = 1);
    void hang(const QByteArray& pattern, int seconds = 30);
    // Adds an `osacompile` that copies the source to the output (or fails).
    void installCompiler(bool working = true);

    // The text of the last script run.
    QString lastScript() const;
    // PATH now holds only an empty folder: no osascript anywhere.
    void removeFromPath();

private:
    void addRule(const QByteArray& pattern, const QByteArray& stdoutText, const QByteArray& stderrText,
                 int exitCode, int sleepSeconds);
    QString mFolder;
    QByteArray mOldPath;
    int mRules = 0;
};
