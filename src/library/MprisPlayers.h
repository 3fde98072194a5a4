#pragma once

#include <QString>
#include <QStringList>

// Media players on the session bus that follow the MPRIS conventions
// ("org.mpris.MediaPlayer2.<name>" at "/org/mpris/MediaPlayer2"). A song
// file about to be written is paused in every player that is playing that
// very file and resumed afterwards, as iTunes is through its bridge. Every
// call has a short deadline, so a player that hangs costs at most that;
// without a session bus nothing happens.
class MprisPlayers
{
public:
    static constexpr int kCallTimeoutMs = 500;

    // Pauses the players playing the file at `path`; answers their bus names.
    static QStringList pausePlayersPlaying(const QString& path);
    // Resumes the players that pausePlayersPlaying() answered.
    static void resumePlayers(const QStringList& players);

    // Talks to the bus at `address` instead of the session bus (tests run a
    // bus of their own); an empty address goes back to the session bus.
    static void setBusAddress(const QString& address);
};
