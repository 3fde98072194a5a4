#include "WMUtility.h"

#include "support/ProcessSampler.h"
#include "library/PropertyListReader.h"
#include "text/DirectoryWalker.h"
#include "text/PageExtractor.h"
#include "text/QueryEncoder.h"
#include "text/WendmarkTextExtensions.h"

qint64 WMUtility::logActivityForProcess(const QString& processName, float seconds)
{
    return ProcessSampler::logActivityForProcess(processName, seconds);
}

QVariant WMUtility::mutablePropertyListFromData(const QByteArray& data, bool trySystemFirst,
                                                QString* errorDescription)
{
    return PropertyListReader::mutablePropertyListFromData(data, trySystemFirst, errorDescription);
}

QStringList WMUtility::minorWords()
{
    return WendmarkTextExtensions::minorWords();
}

std::optional<QList<QStringList>> WMUtility::parsedContentsOfHTML(const QString& html,
                                                                  const QVariantMap& parseDescription)
{
    return PageExtractor::parsedContentsOfHTML(html, parseDescription);
}

QString WMUtility::stringForPost(const QString& text, bool alphaNumericOnly, const QString& spaceString)
{
    return QueryEncoder::stringForPost(text, alphaNumericOnly, spaceString);
}

std::optional<QByteArray> WMUtility::HTTPFromDictionary(const QVariantMap& dictionary,
                                                        const std::optional<QStringList>& order)
{
    return QueryEncoder::HTTPFromDictionary(dictionary, order);
}

QStringList WMUtility::recursiveFilePathsInDirectory(const QString& dir, bool enterPackages, int maxCount,
                                                     QList<QByteArray>* unrepresentable)
{
    return DirectoryWalker::recursiveFilePathsInDirectory(dir, enterPackages, maxCount, unrepresentable);
}
