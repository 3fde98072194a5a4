#include "HistoryOperation.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<OperationKind, const char*>, 8> kNames{{
    {OperationKind::Run, "run"},
    {OperationKind::Set, "set"},
    {OperationKind::Regenerate, "regenerate"},
    {OperationKind::Edit, "edit"},
    {OperationKind::Artwork, "artwork"},
    {OperationKind::Lyrics, "lyrics"},
    {OperationKind::Undo, "undo"},
    {OperationKind::Redo, "redo"},
}};

} // namespace

QString HistoryOperation::nameOf(OperationKind kind)
{
    for (const auto& [k, name] : kNames) {
        if (k == kind)
            return QLatin1String(name);
    }
    return QString();
}

std::optional<OperationKind> HistoryOperation::kindNamed(const QString& name)
{
    for (const auto& [k, n] : kNames) {
        if (name == QLatin1String(n))
            return k;
    }
    return std::nullopt;
}
