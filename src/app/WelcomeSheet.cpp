#include "WelcomeSheet.h"

#include "AppIcons.h"

#include "support/LocalizedStrings.h"

#include <QDir>
#include <QFontInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>

namespace {

const QString kWelcomedKey = QStringLiteral("_welcomed");

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

WelcomeSheet::WelcomeSheet(const QString& musicFolder, bool libraryAvailable, QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(text("WelcomeTitle"));
    setWindowModality(Qt::WindowModal);

    auto* icon = new QLabel;
    icon->setPixmap(AppIcons::applicationIcon().pixmap(64, 64));
    icon->setAlignment(Qt::AlignTop);
    auto* heading = new QLabel(text("WelcomeHeading"));
    QFont bigger = heading->font();
    bigger.setPixelSize(QFontInfo(bigger).pixelSize() * 7 / 5);
    bigger.setBold(true);
    heading->setFont(bigger);
    auto* message = new QLabel(text("WelcomeMessage"));
    message->setWordWrap(true);
    message->setMinimumWidth(420);
    // The home folder is written "~", as the user knows it.
    QString shownFolder = QDir::toNativeSeparators(musicFolder);
    const QString home = QDir::toNativeSeparators(QDir::homePath());
    if (shownFolder.startsWith(home + QDir::separator()))
        shownFolder = QStringLiteral("~") + shownFolder.mid(home.size());
    auto* folderNote =
        new QLabel(LocalizedStrings::format(QStringLiteral("WelcomeMusicFolder"), shownFolder));
    folderNote->setWordWrap(true);
    folderNote->setEnabled(QDir(musicFolder).exists());

    auto* texts = new QVBoxLayout;
    texts->addWidget(heading);
    texts->addWidget(message);
    texts->addWidget(folderNote);
    texts->addStretch(1);
    auto* top = new QHBoxLayout;
    top->addWidget(icon);
    top->addSpacing(12);
    top->addLayout(texts, 1);

    auto* buttons = new QHBoxLayout;
    auto* notNow = new QPushButton(text("WelcomeNotNow"));
    buttons->addWidget(notNow);
    buttons->addStretch(1);
    if (libraryAvailable) {
        auto* library = new QPushButton(text("WelcomeUseLibrary"));
        connect(library, &QPushButton::clicked, this, [this] { choose(Choice::Library); });
        buttons->addWidget(library);
    }
    auto* other = new QPushButton(text("WelcomeChooseFolder"));
    auto* music = new QPushButton(text("WelcomeUseMusicFolder"));
    music->setDefault(true);
    music->setEnabled(QDir(musicFolder).exists());
    buttons->addWidget(other);
    buttons->addWidget(music);
    connect(notNow, &QPushButton::clicked, this, [this] { choose(Choice::None); });
    connect(other, &QPushButton::clicked, this, [this] { choose(Choice::OtherFolder); });
    connect(music, &QPushButton::clicked, this, [this] { choose(Choice::MusicFolder); });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->addLayout(top);
    layout->addSpacing(16);
    layout->addLayout(buttons);
}

void WelcomeSheet::choose(Choice choice)
{
    mChoice = choice;
    accept();
}

bool WelcomeSheet::wasShown()
{
    return QSettings().value(kWelcomedKey, false).toBool();
}

void WelcomeSheet::markShown()
{
    QSettings settings;
    settings.setValue(kWelcomedKey, true);
    settings.sync();
}
