#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <cstdio>

// Parses the command line of quillbeat-cli and runs the command it names;
// `help`, `--help` and `--version` are answered here.
class CommandLine
{
public:
    explicit CommandLine(QStringList arguments, std::FILE* out = stdout, std::FILE* err = stderr);
    // The arguments as the system handed them over (program name first),
    // for names that are not UTF-8 and so have no QString of their own.
    void setRawArguments(QList<QByteArray> raw) { mRawArguments = std::move(raw); }
    // The process exit code.
    int run();

private:
    int printHelp();
    int unknownCommand(const QString& name);
    int printVersion();
    void print(std::FILE* to, const QString& text);

    QStringList mArguments;
    QList<QByteArray> mRawArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
