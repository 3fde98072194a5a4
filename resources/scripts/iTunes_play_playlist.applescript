-- Plays the track at the given index of the named playlist; when that track
-- does not carry the given name, the first track of the playlist with the
-- given name and artist. Answers "playing <name>".
set theTitle to "%@"
set theArtist to "%@"
set theIndex to %d
set thePlaylistName to "%@"
tell application "iTunes"
	set thePlaylist to playlist thePlaylistName
	set theTrack to missing value
	try
		set theTrack to track theIndex of thePlaylist
		if name of theTrack is not theTitle then set theTrack to missing value
	end try
	if theTrack is missing value then
		set theTrack to first track of thePlaylist whose name is theTitle and artist is theArtist
	end if
	play theTrack
	return "playing " & (name of theTrack)
end tell
