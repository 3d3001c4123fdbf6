-- Moves every matching note to Recently Deleted and counts those that went.
on run argv
	set found to my notesNamed(item 1 of argv)
	set gone to 0
	tell application "Notes"
		repeat with v in found
			try
				delete v
				set gone to gone + 1
			end try
		end repeat
	end tell
	return "OK deleted " & gone & " note(s)"
end run

-- include: notesNamed
