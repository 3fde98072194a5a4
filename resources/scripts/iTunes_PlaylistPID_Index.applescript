-- Index of the playlist with the given persistent ID; -1 when there is none.
set thePID to "%@"
tell application "iTunes"
	try
		return index of (first playlist of source 1 whose persistent ID is thePID)
	on error
		return -1
	end try
end tell
