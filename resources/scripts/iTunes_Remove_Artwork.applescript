-- Removes every artwork of the track with the given database ID, or else of
-- the track with the given name whose file is at the given path. Answers
-- "removed <count>", or a text beginning with "error: ".
set theDBID to %d
set theTitle to "%@"
set thePath to "%@"
tell application "iTunes"
	set theTrack to missing value
	try
		set theTrack to first track of library playlist 1 whose database ID is theDBID
	end try
	if theTrack is missing value then
		repeat with theCandidate in (get every file track of library playlist 1 whose name is theTitle)
			try
				if POSIX path of (get location of theCandidate) is thePath then
					set theTrack to contents of theCandidate
					exit repeat
				end if
			end try
		end repeat
	end if
	if theTrack is missing value then return "error: no track " & theTitle
	try
		set theCount to count of artworks of theTrack
		delete every artwork of theTrack
		return "removed " & theCount
	on error theMessage
		return "error: " & theMessage
	end try
end tell
