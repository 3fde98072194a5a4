#pragma once

#include "CommandSpec.h"
#include "ParsedArguments.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <optional>

// Parses a command's arguments by its CommandSpec. Options may come before,
// between and after the other arguments, with their value as the next
// argument or after "=" (`--folder=DIR`); "--" ends the options. A value of a
// file, folder, number or choice is never taken from an argument that starts
// with "--": the option then lacks its value. Every refusal is one localised
// line that names the problem and what would be right.
class ArgumentParser
{
public:
    struct Result
    {
        std::optional<ParsedArguments> arguments;
        // Set when `arguments` is empty, unless help was asked for.
        QString error;
        // "--help" or "-h" among the options.
        bool helpRequested = false;
    };

    static Result parse(const CommandSpec& spec, const QStringList& arguments);
    // What every command does with its arguments: parsed by the command's
    // entry of the table; "--help" prints its help on `out` (status 0), a
    // refusal goes to `err` with the usage line (status 2). Nothing is
    // answered in both cases, with `status` set.
    static std::optional<ParsedArguments> parseFor(const QString& command, const QStringList& arguments,
                                                   std::FILE* out, std::FILE* err, int* status);

    // "quillbeat-cli fix" (the window's own arguments: "quillbeat").
    static QString commandLineOf(const CommandSpec& spec);
    // "quillbeat-cli fix: " before a message about the command's arguments.
    static QString prefix(const CommandSpec& spec);
    // The text saying what a value of `valueName` is ("a folder").
    static QString nounForValue(const QString& valueName);
    // The candidate nearest to `word` when it is near enough to be meant,
    // else null (for "did you mean ...?").
    static QString nearest(const QString& word, const QStringList& candidates);

private:
    static QString checkValue(const CommandSpec& spec, const OptionSpec& option, const QString& value);
};
