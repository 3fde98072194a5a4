#pragma once

#include "ExitStatus.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// What a command of quillbeat-cli accepts, as data: the parser, every help
// text, the manual page and the bash completion are made from it, so that
// they cannot drift apart. Texts are keys of the localised string table.

// What an option or argument takes.
enum class ValueKind : int
{
    Flag = 0,       // nothing: the option is a switch
    Text = 1,       // any text, also one beginning with "-"
    Number = 2,     // a whole number of ASCII digits
    File = 3,       // a file's path
    Folder = 4,     // a folder's path
    Choice = 5,     // one of choices()
    ChoiceList = 6, // one or more of choices(), separated by commas
};

struct OptionSpec
{
    QString name; // "--folder"
    ValueKind kind = ValueKind::Flag;
    // The value's placeholder in usage lines ("DIR"); its noun for "needs a
    // folder" is the text "CliValue<placeholder>".
    QString valueName;
    // The text explaining the option.
    QString helpKey;
    // What a Choice or ChoiceList option accepts, and the noun for a value
    // that is none of them ("CliNoun<noun>": "attribute", "source").
    std::function<QStringList()> choices;
    QString noun;
    // Takes a value beside the choices shown (a source's class name); none:
    // only the choices, in any case.
    std::function<bool(const QString&)> accepts;
    // Options of one group exclude each other ("--folder and --library
    // can't be combined").
    QString group;
};

struct PositionalSpec
{
    QString name; // "FILE"
    ValueKind kind = ValueKind::Text;
    int minimum = 0;
    int maximum = 1; // -1: any number
    // Offered by the completion (the names of the settings).
    std::function<QStringList()> choices;
};

struct CommandSpec
{
    QString name;
    // The usage line after the command's name when the generated one can't
    // say it (alternatives of options and arguments); empty: generated.
    QString usage;
    QList<OptionSpec> options;
    QList<PositionalSpec> positionals;
    QList<ExitStatus> statuses;

    const OptionSpec* option(const QString& optionName) const;
    // "CliCmd<Name>": one line; "CliCmdMore<Name>": the details;
    // "CliExample<Name>": one example with what it does.
    QString summaryKey() const;
    QString detailsKey() const;
    QString exampleKey() const;
};
