#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <utility>

// The arguments of one command as the parser understood them: the options
// given (with their values, in the order given) and the other arguments.
class ParsedArguments
{
public:
    bool has(const QString& option) const;
    // The value of an option given with one (the last, for one given twice);
    // null when it was not given.
    QString value(const QString& option) const;
    // The options with their values, in the order given (flags with a null
    // value).
    const QList<std::pair<QString, QString>>& options() const { return mOptions; }
    const QStringList& positionals() const { return mPositionals; }
    // Where each positional argument stood among the command's arguments.
    const QList<qsizetype>& positionalIndexes() const { return mPositionalIndexes; }

    void addOption(const QString& option, const QString& value) { mOptions.append({option, value}); }
    void addPositional(const QString& argument, qsizetype index)
    {
        mPositionals.append(argument);
        mPositionalIndexes.append(index);
    }

private:
    QList<std::pair<QString, QString>> mOptions;
    QStringList mPositionals;
    QList<qsizetype> mPositionalIndexes;
};
