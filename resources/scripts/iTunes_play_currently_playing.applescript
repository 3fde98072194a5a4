-- POSIX path of the file of the track iTunes is playing; "" when nothing
-- plays or the track has no file.
tell application "iTunes"
	if player state is stopped then return ""
	try
		set theTrack to current track
		return POSIX path of (get location of theTrack)
	end try
end tell
return ""
