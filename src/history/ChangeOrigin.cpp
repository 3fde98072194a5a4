#include "ChangeOrigin.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<ChangeOrigin::Kind, const char*>, 6> kNames{{
    {ChangeOrigin::Kind::User, "user"},
    {ChangeOrigin::Kind::Sibling, "sibling"},
    {ChangeOrigin::Kind::WebSource, "web"},
    {ChangeOrigin::Kind::RebuiltTag, "rebuilt"},
    {ChangeOrigin::Kind::Undo, "undo"},
    {ChangeOrigin::Kind::FilePath, "path"},
}};

} // namespace

QString ChangeOrigin::nameOf(Kind kind)
{
    for (const auto& [k, name] : kNames) {
        if (k == kind)
            return QLatin1String(name);
    }
    return QString();
}

std::optional<ChangeOrigin::Kind> ChangeOrigin::kindNamed(const QString& name)
{
    for (const auto& [k, n] : kNames) {
        if (name == QLatin1String(n))
            return k;
    }
    return std::nullopt;
}
