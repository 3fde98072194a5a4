-- Sets one field of the track with the given persistent ID. The value comes
-- twice: as text, and as the text of a number for the numeric fields.
-- Answers the value set, or a text beginning with "error: ".
set thePID to "%@"
set theField to "%@"
set theText to "%@"
set theNumber to 0
try
	set theNumber to ("%@" as integer)
end try
tell application "iTunes"
	try
		set theTrack to first track of library playlist 1 whose persistent ID is thePID
	on error theMessage
		return "error: " & theMessage
	end try
	if theField is "name" then
		set name of theTrack to theText
	else if theField is "artist" then
		set artist of theTrack to theText
	else if theField is "album" then
		set album of theTrack to theText
	else if theField is "album artist" then
		set album artist of theTrack to theText
	else if theField is "composer" then
		set composer of theTrack to theText
	else if theField is "genre" then
		set genre of theTrack to theText
	else if theField is "comment" then
		set comment of theTrack to theText
	else if theField is "grouping" then
		set grouping of theTrack to theText
	else if theField is "lyrics" then
		set lyrics of theTrack to theText
	else if theField is "sort name" then
		set sort name of theTrack to theText
	else if theField is "sort artist" then
		set sort artist of theTrack to theText
	else if theField is "sort album" then
		set sort album of theTrack to theText
	else if theField is "sort album artist" then
		set sort album artist of theTrack to theText
	else if theField is "year" then
		set year of theTrack to theNumber
	else if theField is "track number" then
		set track number of theTrack to theNumber
	else if theField is "track count" then
		set track count of theTrack to theNumber
	else if theField is "disc number" then
		set disc number of theTrack to theNumber
	else if theField is "disc count" then
		set disc count of theTrack to theNumber
	else if theField is "bpm" then
		set bpm of theTrack to theNumber
	else if theField is "rating" then
		set rating of theTrack to theNumber
	else
		return "error: unknown field " & theField
	end if
end tell
return theText
