-- One line per track of the playlist with the given index, lines joined by
-- return: POSIX path (empty without a file)|@database ID|@number of artworks
set theIndex to %d
set theLines to {}
tell application "iTunes"
	repeat with theTrack in (get every track of playlist theIndex)
		set thePath to ""
		try
			set thePath to POSIX path of (get location of theTrack)
		end try
		set theCount to 0
		try
			set theCount to count of artworks of theTrack
		end try
		set end of theLines to thePath & "|@" & (database ID of theTrack) & "|@" & theCount
	end repeat
end tell
set savedDelimiters to AppleScript's text item delimiters
set AppleScript's text item delimiters to return
set theResult to theLines as string
set AppleScript's text item delimiters to savedDelimiters
return theResult
