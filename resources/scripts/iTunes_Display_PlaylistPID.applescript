-- Shows the playlist with the given persistent ID in the first browser
-- window. Answers the playlist's name.
set thePID to "%@"
tell application "iTunes"
	set thePlaylist to first playlist of source 1 whose persistent ID is thePID
	set view of item 1 of browser windows to thePlaylist
	return name of thePlaylist
end tell
