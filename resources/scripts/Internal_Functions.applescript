-- Handlers the program calls by name with text parameters. A caller wraps
-- each call in its own try block, so a failing handler may simply raise.

-- The library track with the given persistent ID.
on trackWithPID(thePID)
	tell application "iTunes"
		return first track of library playlist 1 whose persistent ID is thePID
	end tell
end trackWithPID

-- Points the track with the given persistent ID at the file at the given
-- POSIX path (after the file was moved). Answers the new path.
on reunitePathWithPID(thePath, thePID)
	set theTrack to trackWithPID(thePID)
	tell application "iTunes"
		set location of theTrack to (POSIX file thePath)
		refresh theTrack
	end tell
	return thePath
end reunitePathWithPID

-- Adds the file at the given POSIX path to the library, and to the user
-- playlist with the given name unless the name is empty (making the playlist
-- when it does not exist). Answers the new track's persistent ID.
on addPathToiTunesPlaylist(thePath, thePlaylistName)
	tell application "iTunes"
		if thePlaylistName is "" then
			set theTrack to add (POSIX file thePath)
		else
			if exists user playlist thePlaylistName then
				set thePlaylist to user playlist thePlaylistName
			else
				set thePlaylist to make new user playlist with properties {name:thePlaylistName}
			end if
			set theTrack to add (POSIX file thePath) to thePlaylist
		end if
		return persistent ID of theTrack
	end tell
end addPathToiTunesPlaylist

-- Removes the track with the given persistent ID from the library (the
-- file stays). Answers "removed".
on removeTrackWithPID(thePID)
	set theTrack to trackWithPID(thePID)
	tell application "iTunes"
		delete theTrack
	end tell
	return "removed"
end removeTrackWithPID

-- Deletes the user playlists whose names begin with the prefix, one at a
-- time so that iTunes stays responsive. Answers the number deleted.
on incrementalPlaylistDelete(thePrefix)
	set theCount to 0
	tell application "iTunes"
		repeat
			set theMatches to (every user playlist whose name starts with thePrefix)
			if (count of theMatches) is 0 then exit repeat
			delete item 1 of theMatches
			set theCount to theCount + 1
		end repeat
	end tell
	return theCount as string
end incrementalPlaylistDelete

-- Adds the track with the given persistent ID to the playlist with the given
-- persistent ID. Answers "added".
on addTrackPIDToiTunesPlaylistPID(theTrackPID, thePlaylistPID)
	set theTrack to trackWithPID(theTrackPID)
	tell application "iTunes"
		set thePlaylist to first playlist of source 1 whose persistent ID is thePlaylistPID
		duplicate theTrack to thePlaylist
	end tell
	return "added"
end addTrackPIDToiTunesPlaylistPID
