-- Plays the file at the given POSIX path. Answers "playing <path>".
set thePath to "%@"
tell application "iTunes"
	play (POSIX file thePath)
end tell
return "playing " & thePath
