-- The names of the matching notes: what a deletion would touch.
on run argv
	set found to my notesNamed(item 1 of argv)
	set theNames to {}
	tell application "Notes"
		repeat with n in found
			set end of theNames to name of n
		end repeat
	end tell
	return my joinLines(theNames)
end run

-- include: notesNamed

-- include: joinLines
