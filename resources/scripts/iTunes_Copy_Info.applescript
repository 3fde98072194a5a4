-- Copies the descriptive fields of the first track (by persistent ID) to the
-- second. Answers "copied", or a text beginning with "error: ".
set fromPID to "%@"
set toPID to "%@"
tell application "iTunes"
	try
		set fromTrack to first track of library playlist 1 whose persistent ID is fromPID
		set toTrack to first track of library playlist 1 whose persistent ID is toPID
		set name of toTrack to name of fromTrack
		set artist of toTrack to artist of fromTrack
		set album of toTrack to album of fromTrack
		set album artist of toTrack to album artist of fromTrack
		set composer of toTrack to composer of fromTrack
		set genre of toTrack to genre of fromTrack
		set year of toTrack to year of fromTrack
		set track number of toTrack to track number of fromTrack
		set track count of toTrack to track count of fromTrack
		set disc number of toTrack to disc number of fromTrack
		set disc count of toTrack to disc count of fromTrack
		set comment of toTrack to comment of fromTrack
		set grouping of toTrack to grouping of fromTrack
		set bpm of toTrack to bpm of fromTrack
		set rating of toTrack to rating of fromTrack
		set compilation of toTrack to compilation of fromTrack
		return "copied"
	on error theMessage
		return "error: " & theMessage
	end try
end tell
