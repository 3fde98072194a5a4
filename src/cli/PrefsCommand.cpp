#include "PrefsCommand.h"

#include "ArgumentParser.h"
#include "CliOutput.h"

#include "run/PreferenceKeys.h"
#include "support/LocalizedStrings.h"

#include <QSettings>

#include <utility>

namespace {

QString shown(const QVariant& value)
{
    if (!value.isValid())
        return QStringLiteral("-");
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return value.toString();
}

QStringList keyNames()
{
    QStringList names;
    for (const PreferenceKeys::Key& key : PreferenceKeys::all())
        names.append(key.name);
    return names;
}

// What a key takes, in words: "a whole number from 1 to 3600".
QString rule(const PreferenceKeys::Key& key)
{
    using T = PreferenceKeys::Type;
    const bool ranged = key.minimum.isValid() && key.maximum.isValid();
    switch (key.type) {
    case T::Boolean:
        return LocalizedStrings::text(QStringLiteral("PrefsRuleBoolean"));
    case T::Integer:
        return ranged ? LocalizedStrings::format(QStringLiteral("PrefsRuleIntegerRange"),
                                                 key.minimum.toString(), key.maximum.toString())
                      : LocalizedStrings::text(QStringLiteral("PrefsRuleInteger"));
    case T::Float:
        return ranged ? LocalizedStrings::format(QStringLiteral("PrefsRuleNumberRange"),
                                                 key.minimum.toString(), key.maximum.toString())
                      : LocalizedStrings::text(QStringLiteral("PrefsRuleNumber"));
    case T::String:
        break;
    }
    return LocalizedStrings::text(QStringLiteral("PrefsRuleText"));
}

} // namespace

PrefsCommand::PrefsCommand(QStringList arguments, std::FILE* out, std::FILE* err)
    : mArguments(std::move(arguments)), mOut(out), mErr(err)
{}

QString PrefsCommand::listing() const
{
    QSettings settings;
    QString user;
    QString window;
    for (const PreferenceKeys::Key& key : PreferenceKeys::all()) {
        const bool stored = settings.contains(key.name);
        const QVariant value = stored ? settings.value(key.name) : key.defaultValue;
        const QString line =
            key.name.leftJustified(26) + QLatin1Char(' ') +
            QString(shown(value) + (stored ? QString() : QStringLiteral(" (default)"))).leftJustified(22) +
            QLatin1Char(' ') + key.meaning + QLatin1Char('\n');
        (key.windowState ? window : user) += line;
    }
    return user + QLatin1Char('\n') + LocalizedStrings::text(QStringLiteral("CliPrefsWindowState")) +
           QLatin1Char('\n') + window;
}

int PrefsCommand::run()
{
    int status = 0;
    const std::optional<ParsedArguments> parsed =
        ArgumentParser::parseFor(QStringLiteral("prefs"), mArguments, mOut, mErr, &status);
    if (!parsed)
        return status;
    const bool reset = parsed->has(QStringLiteral("--reset"));
    const QStringList& args = parsed->positionals();
    const auto usage = [this](const QString& key) {
        CliOutput::print(mErr, LocalizedStrings::text(key) + QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    };
    if (args.isEmpty()) {
        if (reset)
            return usage(QStringLiteral("CliPrefsResetNeedsKey"));
        CliOutput::print(mOut, listing());
        return exitCode(ExitStatus::Ok);
    }
    if (reset && args.size() != 1)
        return usage(QStringLiteral("CliPrefsResetOneKey"));
    const PreferenceKeys::Key* key = PreferenceKeys::find(args.first());
    if (!key) {
        const QString guess = ArgumentParser::nearest(args.first(), keyNames());
        CliOutput::print(
            mErr,
            (guess.isEmpty()
                 ? LocalizedStrings::format(QStringLiteral("CliPrefsUnknownKey"), args.first())
                 : LocalizedStrings::format(QStringLiteral("CliPrefsUnknownKeyGuess"), args.first(), guess)) +
                QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    }
    QSettings settings;
    if (reset) {
        settings.remove(key->name);
        settings.sync();
        return exitCode(ExitStatus::Ok);
    }
    if (args.size() == 1) {
        const QVariant value = settings.contains(key->name) ? settings.value(key->name) : key->defaultValue;
        CliOutput::print(mOut, shown(value) + QLatin1Char('\n'));
        return exitCode(ExitStatus::Ok);
    }
    const std::optional<QVariant> value = PreferenceKeys::valueFromText(*key, args.at(1));
    if (!value) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliPrefsBadValue"), args.at(1),
                                                        key->name, rule(*key)) +
                                   QLatin1Char('\n'));
        return exitCode(ExitStatus::Usage);
    }
    settings.setValue(key->name, *value);
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        CliOutput::print(mErr, LocalizedStrings::format(QStringLiteral("CliPrefsNotStored"), key->name) +
                                   QLatin1Char('\n'));
        return exitCode(ExitStatus::Failed);
    }
    return exitCode(ExitStatus::Ok);
}
