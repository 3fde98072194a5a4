#include "CommandTable.h"

#include "run/PreferenceKeys.h"
#include "run/WindowPrefs.h"
#include "web/WebDBInterface.h"

#include <algorithm>

namespace {

using S = ExitStatus;

OptionSpec flag(const char* name, const char* helpKey, const char* group = "")
{
    OptionSpec option;
    option.name = QLatin1String(name);
    option.helpKey = QLatin1String(helpKey);
    option.group = QLatin1String(group);
    return option;
}

OptionSpec valued(const char* name, ValueKind kind, const char* valueName, const char* helpKey,
                  const char* group = "")
{
    OptionSpec option = flag(name, helpKey, group);
    option.kind = kind;
    option.valueName = QLatin1String(valueName);
    return option;
}

OptionSpec choice(const char* name, ValueKind kind, const char* valueName, const char* helpKey,
                  std::function<QStringList()> choices, const char* noun)
{
    OptionSpec option = valued(name, kind, valueName, helpKey);
    option.choices = std::move(choices);
    option.noun = QLatin1String(noun);
    return option;
}

PositionalSpec files()
{
    return {QStringLiteral("FILE"), ValueKind::File, 1, -1, {}};
}

QStringList preferenceNames()
{
    QStringList names;
    for (const PreferenceKeys::Key& key : PreferenceKeys::all())
        names.append(key.name);
    return names;
}

// The sources by their short names, or by their class names as the
// resources list them.
OptionSpec sources()
{
    OptionSpec option = choice("--sources", ValueKind::ChoiceList, "S,...", "CliOptSources",
                               &CommandTable::sourceNames, "Source");
    option.accepts = [](const QString& name) {
        return !CommandTable::sourceClassForName(name).isEmpty();
    };
    return option;
}

// --folder, --library, --playlist and --xml, as scan and fix take them.
QList<OptionSpec> sourceOptions()
{
    return {valued("--folder", ValueKind::Folder, "DIR", "CliOptFolder", "source"),
            flag("--library", "CliOptLibrary", "source"),
            valued("--playlist", ValueKind::Text, "NAME", "CliOptPlaylist", "source"),
            valued("--xml", ValueKind::File, "FILE", "CliOptXml")};
}

QList<CommandSpec> makeCommands()
{
    const OptionSpec json = flag("--json", "CliOptJson");
    const auto yesNo = [] {
        return QStringList{QStringLiteral("yes"), QStringLiteral("no")};
    };
    const auto methods = [] {
        return QStringList{QStringLiteral("earliest"), QStringLiteral("duplicates")};
    };

    QList<CommandSpec> commands;
    commands.append(
        {QStringLiteral("tags"), {}, {json}, {files()}, {S::Ok, S::Failed, S::Usage, S::OutputClosed}});
    commands.append(
        {QStringLiteral("set"),
         {},
         {valued("--title", ValueKind::Text, "T", "CliOptSetTitle"),
          valued("--artist", ValueKind::Text, "A", "CliOptSetArtist"),
          valued("--album", ValueKind::Text, "B", "CliOptSetAlbum"),
          valued("--year", ValueKind::Text, "Y", "CliOptSetYear"),
          valued("--genre", ValueKind::Text, "G", "CliOptSetGenre"),
          valued("--track", ValueKind::Text, "N[/M]", "CliOptSetTrack"),
          valued("--bpm", ValueKind::Text, "N", "CliOptSetBpm"),
          choice("--compilation", ValueKind::Choice, "yes|no", "CliOptSetCompilation", yesNo, "Answer"),
          valued("--lyrics-file", ValueKind::File, "F", "CliOptSetLyricsFile", "lyrics"),
          flag("--no-lyrics", "CliOptSetNoLyrics", "lyrics"),
          valued("--add-picture", ValueKind::File, "IMAGE", "CliOptSetAddPicture"),
          flag("--remove-pictures", "CliOptSetRemovePictures")},
         {files()},
         {S::Ok, S::Failed, S::Usage, S::OutputClosed}});
    commands.append({QStringLiteral("library"),
                     {},
                     {valued("--xml", ValueKind::File, "FILE", "CliOptLibraryXml"), json,
                      flag("--playlists", "CliOptPlaylists")},
                     {},
                     {S::Ok, S::Failed, S::Usage, S::OutputClosed}});
    commands.append({QStringLiteral("lookup"),
                     QStringLiteral("--artist A (--album B | --title T) [--sources S,...] [--json]"),
                     {valued("--artist", ValueKind::Text, "A", "CliOptLookupArtist"),
                      valued("--album", ValueKind::Text, "B", "CliOptLookupAlbum"),
                      valued("--title", ValueKind::Text, "T", "CliOptLookupTitle"),
                      sources(), json},
                     {},
                     {S::Ok, S::Usage, S::SourcesFailed, S::OutputClosed}});
    commands.append({QStringLiteral("prefs"),
                     QStringLiteral("[KEY [VALUE]] | --reset KEY"),
                     {flag("--reset", "CliOptReset")},
                     {{QStringLiteral("KEY"), ValueKind::Text, 0, 1, preferenceNames},
                      {QStringLiteral("VALUE"), ValueKind::Text, 0, 1, {}}},
                     {S::Ok, S::Failed, S::Usage}});
    QList<OptionSpec> scan = sourceOptions();
    scan << flag("--read-tags", "CliOptReadTags") << json;
    commands.append({QStringLiteral("scan"), {}, scan, {}, {S::Ok, S::Failed, S::Usage, S::OutputClosed}});
    commands.append(
        {QStringLiteral("regenerate"), {}, {}, {files()}, {S::Ok, S::Failed, S::Usage, S::OutputClosed}});
    QList<OptionSpec> fix = sourceOptions();
    fix << choice("--check", ValueKind::ChoiceList, "LIST", "CliOptCheck", &CommandTable::attributeNames,
                  "Attribute")
        << choice("--overwrite", ValueKind::ChoiceList, "LIST", "CliOptOverwrite",
                  &CommandTable::attributeNames, "Attribute")
        << choice("--method", ValueKind::Choice, "earliest|duplicates", "CliOptMethod", methods, "Method")
        << flag("--serial", "CliOptSerial") << flag("--dry-run", "CliOptFixDryRun")
        << flag("--yes", "CliOptYes") << flag("--json", "CliOptFixJson");
    commands.append(
        {QStringLiteral("fix"),
         {},
         fix,
         {},
         {S::Ok, S::Failed, S::Usage, S::Declined, S::SourcesFailed, S::Interrupted, S::OutputClosed}});
    commands.append({QStringLiteral("history"),
                     {},
                     {json},
                     {{QStringLiteral("ID"), ValueKind::Number, 0, 1, {}}},
                     {S::Ok, S::Failed, S::Usage}});
    commands.append({QStringLiteral("undo"),
                     QStringLiteral("(ID | --last) [--dry-run] [--force]"),
                     {flag("--last", "CliOptLast"), flag("--dry-run", "CliOptUndoDryRun"),
                      flag("--force", "CliOptForce")},
                     {{QStringLiteral("ID"), ValueKind::Number, 0, 1, {}}},
                     {S::Ok, S::Failed, S::Usage}});
    return commands;
}

} // namespace

const OptionSpec* CommandSpec::option(const QString& optionName) const
{
    for (const OptionSpec& spec : options) {
        if (spec.name == optionName)
            return &spec;
    }
    return nullptr;
}

QString CommandSpec::summaryKey() const
{
    return QStringLiteral("CliCmd") + name.at(0).toUpper() + name.mid(1);
}

QString CommandSpec::detailsKey() const
{
    return QStringLiteral("CliCmdMore") + name.at(0).toUpper() + name.mid(1);
}

QString CommandSpec::exampleKey() const
{
    return QStringLiteral("CliExample") + name.at(0).toUpper() + name.mid(1);
}

const QList<CommandSpec>& CommandTable::commands()
{
    static const QList<CommandSpec> table = makeCommands();
    return table;
}

const CommandSpec* CommandTable::find(const QString& name)
{
    for (const CommandSpec& spec : commands()) {
        if (spec.name == name)
            return &spec;
    }
    return nullptr;
}

QStringList CommandTable::attributeNames()
{
    return WindowPrefs::assetNames();
}

QStringList CommandTable::sourceNames()
{
    // The album databases first, then lyrics, then what needs a server of
    // the user's own; sources added later at the end.
    static const QStringList preferred = {
        QStringLiteral("musicbrainz"), QStringLiteral("lrclib"),     QStringLiteral("wikipedia"),
        QStringLiteral("discogs"),     QStringLiteral("seekalyric"), QStringLiteral("lyred"),
        QStringLiteral("leoslyrics"),  QStringLiteral("wendmark"),   QStringLiteral("tracktype")};
    QStringList names;
    for (const QString& className : WebDBInterface::registeredClassNames())
        names.append(sourceNameOfClass(className));
    std::stable_sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        const auto rank = [](const QString& name) {
            const qsizetype index = preferred.indexOf(name);
            return index < 0 ? preferred.size() : index;
        };
        return rank(a) < rank(b);
    });
    return names;
}

QString CommandTable::sourceNameOfClass(const QString& className)
{
    return WebDBInterface::displayName(className).toLower();
}

QString CommandTable::sourceClassForName(const QString& name)
{
    for (const QString& className : WebDBInterface::registeredClassNames()) {
        if (className == name || sourceNameOfClass(className) == name.toLower())
            return className;
    }
    return QString();
}

const CommandSpec& CommandTable::windowSpec()
{
    static const CommandSpec spec = [] {
        CommandSpec window;
        window.name = QStringLiteral("quillbeat");
        window.options = sourceOptions();
        return window;
    }();
    return spec;
}
