#pragma once

#include <QStringList>

#include <cstdio>

// Parses the command line of quillbeat-cli and runs the command it names.
class CommandLine
{
public:
    explicit CommandLine(QStringList arguments, std::FILE* out = stdout, std::FILE* err = stderr);
    // The process exit code.
    int run();

private:
    int printHelp();
    int printVersion();
    void print(std::FILE* to, const QString& text);

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};
