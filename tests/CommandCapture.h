#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdio>

// Runs a command of quillbeat-cli in process with its standard output and
// errors captured.
struct CommandCapture
{
    int status = -1;
    QString out, err;

    template <typename Command> static CommandCapture run(const QStringList& arguments)
    {
        std::FILE* out = std::tmpfile();
        std::FILE* err = std::tmpfile();
        CommandCapture result;
        result.status = Command(arguments, out, err).run();
        result.out = readAll(out);
        result.err = readAll(err);
        return result;
    }

private:
    static QString readAll(std::FILE* file)
    {
        std::rewind(file);
        QByteArray bytes;
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
            bytes.append(buffer, static_cast<qsizetype>(n));
        std::fclose(file);
        return QString::fromUtf8(bytes);
    }
};
