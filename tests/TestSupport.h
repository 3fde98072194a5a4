#pragma once

#include <QByteArray>
#include <QString>

// Helpers shared by the test suites.
class TestSupport
{
public:
    // A scratch folder that lives for the whole test program.
    static QString scratchFolder();
    // The folder of shared web fixtures, or an empty string when absent
    // (tests over real answers skip themselves then).
    static QString fixturesFolder();
    static QByteArray readFile(const QString& path);
    static bool writeFile(const QString& path, const QByteArray& bytes);
    // An interpreter that can import mutagen, or an empty string.
    static QString pythonWithMutagen();
};
