-- Makes iTunes re-read the file of the track with the given persistent ID.
-- Answers the POSIX path of that file.
set thePID to "%@"
tell application "iTunes"
	set theTrack to first file track of library playlist 1 whose persistent ID is thePID
	refresh theTrack
	return POSIX path of (get location of theTrack)
end tell
