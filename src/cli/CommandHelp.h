#pragma once

#include "CommandSpec.h"

#include <QString>

// The texts made from the command table: the overview of `--help`, each
// command's help, the manual page and the bash completion.
class CommandHelp
{
public:
    static QString overview();
    static QString forCommand(const CommandSpec& spec);
    // "quillbeat-cli fix [--folder DIR | --library | --playlist NAME] ...".
    static QString usageLine(const CommandSpec& spec);
    // "Usage: " and the usage line, wrapped.
    static QString usageText(const CommandSpec& spec);
    // quillbeat-cli(1) in roff.
    static QString manPage();
    // A bash completion script for quillbeat-cli.
    static QString bashCompletion();

private:
    static QString optionLabel(const OptionSpec& option);
    static QString optionText(const OptionSpec& option);
};
