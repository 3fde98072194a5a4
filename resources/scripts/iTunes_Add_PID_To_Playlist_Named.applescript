-- Adds the track with the given persistent ID to the user playlist with the
-- given name, making the playlist first when the flag is 1. Answers the
-- playlist's persistent ID, or a text beginning with "error: ".
set thePID to "%@"
set thePlaylistName to "%@"
set shouldCreate to %d
tell application "iTunes"
	try
		set theTrack to first track of library playlist 1 whose persistent ID is thePID
		if exists user playlist thePlaylistName then
			set thePlaylist to user playlist thePlaylistName
		else if shouldCreate is 1 then
			set thePlaylist to make new user playlist with properties {name:thePlaylistName}
		else
			return "error: no playlist " & thePlaylistName
		end if
		duplicate theTrack to thePlaylist
		return persistent ID of thePlaylist
	on error theMessage
		return "error: " & theMessage
	end try
end tell
