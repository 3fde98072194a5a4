-- Makes iTunes re-read the file of the first library track with the given
-- name and artist. Answers the POSIX path of that file.
set theTitle to "%@"
set theArtist to "%@"
tell application "iTunes"
	set theTrack to first file track of library playlist 1 whose name is theTitle and artist is theArtist
	refresh theTrack
	return POSIX path of (get location of theTrack)
end tell
