#pragma once

#include "CommandSpec.h"

#include <QList>
#include <QString>
#include <QStringList>

// The commands of quillbeat-cli, their options, arguments and exit
// statuses: the one description that parsing, help, the manual page and the
// completion share.
class CommandTable
{
public:
    static const QList<CommandSpec>& commands();
    static const CommandSpec* find(const QString& name);
    // The window's own arguments (`quillbeat [--folder DIR | --library ...]`):
    // the song source options that scan and fix share.
    static const CommandSpec& windowSpec();

    // The attributes a run looks for ("album", "title" ...).
    static QStringList attributeNames();
    // The web sources by the names the user gives ("musicbrainz" ...).
    static QStringList sourceNames();
    // The class of a source named by the user, by its short name (any case)
    // or its class name; empty when there is no such source.
    static QString sourceClassForName(const QString& name);
    // The short name of a source class.
    static QString sourceNameOfClass(const QString& className);
};
