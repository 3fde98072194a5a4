#pragma once

#include "ExitStatus.h"

#include <QJsonObject>
#include <QString>

#include <cstdio>

// Writing to the terminal: UTF-8 text and compact or indented JSON.
class CliOutput
{
public:
    // Exit status of a command whose standard output was closed before it
    // was done (`| head`), as shells report a process ended by SIGPIPE.
    static constexpr int kClosedOutputStatus = exitCode(ExitStatus::OutputClosed);

    // False when the text could not be written: the reader is gone (a
    // closed pipe) or the disk is full. Once a stream has failed, nothing
    // more is tried on it.
    static bool print(std::FILE* to, const QString& text);
    // Text already in UTF-8.
    static bool print(std::FILE* to, const QByteArray& utf8);
    static bool printJson(std::FILE* to, const QJsonObject& object);
    // One compact object on a line of its own.
    static bool printJsonLine(std::FILE* to, const QJsonObject& object);
    static bool hasFailed(std::FILE* stream) { return std::ferror(stream) != 0; }

private:
    static bool write(std::FILE* to, const QByteArray& bytes);
};
