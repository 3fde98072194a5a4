-- For every track persistent ID of the list, the number of its artworks (0
-- when there is no such track), each count followed by a return.
set thePIDs to %@
set theResult to ""
tell application "iTunes"
	repeat with thePID in thePIDs
		set theCount to 0
		try
			set theCount to count of artworks of (first track of library playlist 1 whose persistent ID is (thePID as string))
		end try
		set theResult to theResult & theCount & return
	end repeat
end tell
return theResult
