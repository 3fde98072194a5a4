-- Plays the first track of the library with the given name and artist (the
-- index and playlist name are accepted for symmetry with the playlist form
-- and used only in the answer). Answers "playing <name>".
set theTitle to "%@"
set theArtist to "%@"
set theIndex to %d
set thePlaylistName to "%@"
tell application "iTunes"
	set theTrack to first track of library playlist 1 whose name is theTitle and artist is theArtist
	play theTrack
	return "playing " & (name of theTrack)
end tell
