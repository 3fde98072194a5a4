-- Makes iTunes re-read the file of the track with the given database ID in
-- the named playlist. Answers the POSIX path of that file.
set theDBID to %d
set thePlaylistName to "%@"
tell application "iTunes"
	set theTrack to first file track of playlist thePlaylistName whose database ID is theDBID
	refresh theTrack
	return POSIX path of (get location of theTrack)
end tell
