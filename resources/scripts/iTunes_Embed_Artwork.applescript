-- Writes the first artwork of the track with the given name and file path
-- back into it, so that iTunes embeds it in the file. Answers
-- "embedded artwork for <name>", or a text beginning with "error: ".
set theTitle to "%@"
set thePath to "%@"
tell application "iTunes"
	set theTrack to missing value
	repeat with theCandidate in (get every file track of library playlist 1 whose name is theTitle)
		try
			if POSIX path of (get location of theCandidate) is thePath then
				set theTrack to contents of theCandidate
				exit repeat
			end if
		end try
	end repeat
	if theTrack is missing value then return "error: no track " & theTitle
	try
		set theData to data of artwork 1 of theTrack
		set data of artwork 1 of theTrack to theData
	on error theMessage
		return "error: " & theMessage
	end try
end tell
return "embedded artwork for " & "%@"
