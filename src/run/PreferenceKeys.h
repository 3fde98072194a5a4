#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>

// Every user setting the program reads, with its type and default: what
// `quillbeat-cli prefs` lists, checks and converts.
class PreferenceKeys
{
public:
    enum class Type : int
    {
        Boolean = 0,
        Integer = 1,
        Float = 2,
        String = 3
    };

    struct Key
    {
        QString name;
        Type type;
        // Invalid when the key has no fixed default.
        QVariant defaultValue;
        QString meaning;
        // The smallest and largest value a number may take; invalid: any.
        QVariant minimum;
        QVariant maximum;
        // State the window keeps for itself (what it showed last, its layout,
        // what it told already), not a choice of the user.
        bool windowState = false;
    };

    static const QList<Key>& all();
    static const Key* find(const QString& name);
    // The value converted to the key's type; none for text that is not one
    // or a number outside the key's range.
    static std::optional<QVariant> valueFromText(const Key& key, const QString& text);
    static QString typeName(Type type);
};
