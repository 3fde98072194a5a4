#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// Class operations shared across the program. Each forwards to the small
// class that does the work, so that callers have one place to look.
class WMUtility
{
public:
    // Samples the running process with that name into the activity log for
    // about `seconds`; answers its process identifier, or 0 when there is no
    // such process or no sampler (gdb, eu-stack) is installed.
    static qint64 logActivityForProcess(const QString& processName, float seconds);

    // Reads a property list into a tree of QVariantMap / QVariantList and
    // leaves; see PropertyListReader.
    static QVariant mutablePropertyListFromData(const QByteArray& data, bool trySystemFirst,
                                                QString* errorDescription = nullptr);

    // The minor words ("a", "an", "and", "of", "the", "is").
    static QStringList minorWords();
    // Entries and text pieces of a page cut by the markers of a parse
    // description; see PageExtractor.
    static std::optional<QList<QStringList>> parsedContentsOfHTML(const QString& html,
                                                                  const QVariantMap& parseDescription);
    // A search text in the form put into query URLs; see QueryEncoder.
    static QString stringForPost(const QString& text, bool alphaNumericOnly, const QString& spaceString);
    // A form-encoded request body; see QueryEncoder.
    static std::optional<QByteArray> HTTPFromDictionary(const QVariantMap& dictionary,
                                                        const std::optional<QStringList>& order);
    // Regular files below a folder; see DirectoryWalker.
    static QStringList recursiveFilePathsInDirectory(const QString& dir, bool enterPackages, int maxCount,
                                                     QList<QByteArray>* unrepresentable = nullptr);
};
