#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

// One JSON object written straight to UTF-8 text, byte for byte as
// QJsonDocument::toJson(QJsonDocument::Compact) writes the same object (keys
// in Qt's order, the same escapes, numbers in the same shortest form),
// without building the object first: `tags --json` prints one per file.
// Values are written as they are added; keys are ASCII.
class CompactJson
{
public:
    void addNull(QLatin1String key);
    void add(QLatin1String key, bool value);
    void add(QLatin1String key, qint64 value);
    void add(QLatin1String key, int value) { add(key, qint64(value)); }
    void add(QLatin1String key, double value);
    void add(QLatin1String key, const QString& value);
    // A text or null for a null string.
    void addText(QLatin1String key, const QString& value);
    // An object or an array written by another writer (see arrayOf).
    void addRaw(QLatin1String key, QByteArray json);

    // "{...}" with the keys in order.
    QByteArray toJson() const;
    // "[...]" of objects' texts.
    static QByteArray arrayOf(const std::vector<QByteArray>& elements);

    // A string's JSON text, quotes included.
    static void appendString(QByteArray& out, QStringView text);

private:
    struct Member
    {
        QLatin1String key;
        qsizetype start = 0; // of the value's text in mValues
        qsizetype length = 0;
    };
    // Starts a member whose value text is then appended to mValues.
    void begin(QLatin1String key);

    std::vector<Member> mMembers;
    QByteArray mValues;
};
