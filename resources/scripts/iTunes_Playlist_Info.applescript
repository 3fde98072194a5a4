-- One line per playlist of the main source, lines joined by return:
-- name|@persistent ID|@special kind (empty for none)|@smart (true/false)|@parent persistent ID (or empty)
set theLines to {}
tell application "iTunes"
	repeat with thePlaylist in (get every playlist of source 1)
		set theName to name of thePlaylist
		set thePID to persistent ID of thePlaylist
		set theKind to ""
		set isSmart to "false"
		set theParent to ""
		try
			set theSpecial to special kind of thePlaylist
			if theSpecial is not none then set theKind to theSpecial as string
		end try
		try
			if smart of thePlaylist then set isSmart to "true"
		end try
		try
			set theParent to persistent ID of parent of thePlaylist
		end try
		set end of theLines to theName & "|@" & thePID & "|@" & theKind & "|@" & isSmart & "|@" & theParent
	end repeat
end tell
set savedDelimiters to AppleScript's text item delimiters
set AppleScript's text item delimiters to return
set theResult to theLines as string
set AppleScript's text item delimiters to savedDelimiters
return theResult
