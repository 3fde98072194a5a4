-- Adds the play and skip counts of the first track (by persistent ID) to the
-- second and keeps the later of their play dates. Answers the second track's
-- new play count, or a text beginning with "error: ".
set fromPID to "%@"
set toPID to "%@"
tell application "iTunes"
	try
		set fromTrack to first track of library playlist 1 whose persistent ID is fromPID
		set toTrack to first track of library playlist 1 whose persistent ID is toPID
		set played count of toTrack to (played count of toTrack) + (played count of fromTrack)
		set skipped count of toTrack to (skipped count of toTrack) + (skipped count of fromTrack)
		set fromDate to played date of fromTrack
		if fromDate is not missing value then
			set toDate to played date of toTrack
			if toDate is missing value then
				set played date of toTrack to fromDate
			else if fromDate > toDate then
				set played date of toTrack to fromDate
			end if
		end if
		return (played count of toTrack) as string
	on error theMessage
		return "error: " & theMessage
	end try
end tell
