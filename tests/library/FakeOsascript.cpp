#include "FakeOsascript.h"

#include "TestSupport.h"

#include <QDir>
#include <QFile>

namespace {

const QByteArray kScript = R"SH(#!/bin/sh
here="$(dirname "$0")/.."
src=$(cat)
printf '%s' "$src" > "$here/last-script"
for rule in "$here"/rules/*; do
  [ -f "$rule/pattern" ] || continue
  if printf '%s' "$src" | grep -F -q -f "$rule/pattern"; then
    if [ -f "$rule/sleep" ]; then exec sleep "$(cat "$rule/sleep")"; fi
    cat "$rule/stdout"
    cat "$rule/stderr" >&2
    exit "$(cat "$rule/code")"
  fi
done
echo "fake osascript: no rule for this script" >&2
exit 1
)SH";

bool writeExecutable(const QString& path, const QByteArray& text)
{
    if (!TestSupport::writeFile(path, text))
        return false;
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

FakeOsascript::FakeOsascript(const QString& name)
    : mFolder(TestSupport::scratchFolder() + QStringLiteral("/fake-") + name), mOldPath(qgetenv("PATH"))
{
    QDir(mFolder).removeRecursively();
    QDir().mkpath(mFolder + QStringLiteral("/rules"));
    writeExecutable(mFolder + QStringLiteral("/bin/osascript"), kScript);
    qputenv("PATH", QFile::encodeName(mFolder + QStringLiteral("/bin")) + ':' + mOldPath);
}

FakeOsascript::~FakeOsascript()
{
    qputenv("PATH", mOldPath);
}

void FakeOsascript::answer(const QByteArray& pattern, const QByteArray& output)
{
    addRule(pattern, output, {}, 0, 0);
}

void FakeOsascript::fail(const QByteArray& pattern, const QByteArray& message, int exitCode)
{
    addRule(pattern, {}, message, exitCode, 0);
}

void FakeOsascript::hang(const QByteArray& pattern, int seconds)
{
    addRule(pattern, {}, {}, 0, seconds);
}

void FakeOsascript::addRule(const QByteArray& pattern, const QByteArray& stdoutText,
                            const QByteArray& stderrText, int exitCode, int sleepSeconds)
{
    const QString rule = mFolder + QStringLiteral("/rules/%1").arg(mRules++, 3, 10, QLatin1Char('0'));
    TestSupport::writeFile(rule + QStringLiteral("/pattern"), pattern + '\n');
    TestSupport::writeFile(rule + QStringLiteral("/stdout"), stdoutText);
    TestSupport::writeFile(rule + QStringLiteral("/stderr"), stderrText);
    TestSupport::writeFile(rule + QStringLiteral("/code"), QByteArray::number(exitCode));
    if (sleepSeconds > 0)
        TestSupport::writeFile(rule + QStringLiteral("/sleep"), QByteArray::number(sleepSeconds));
}

void FakeOsascript::installCompiler(bool working)
{
    writeExecutable(mFolder + QStringLiteral("/bin/osacompile"),
                    working ? QByteArray("#!/bin/sh\n[ \"$1\" = \"-o\" ] || exit 2\nexec cp \"$3\" \"$2\"\n")
                            : QByteArray("#!/bin/sh\necho 'syntax error' >&2\nexit 1\n"));
}

QString FakeOsascript::lastScript() const
{
    return QString::fromUtf8(TestSupport::readFile(mFolder + QStringLiteral("/last-script")));
}

void FakeOsascript::removeFromPath()
{
    const QString empty = mFolder + QStringLiteral("/empty");
    QDir().mkpath(empty);
    qputenv("PATH", QFile::encodeName(empty));
}
