-- Every folder of Notes with its number of notes.
on run argv
	set theLines to {}
	tell application "Notes"
		repeat with f in folders
			set end of theLines to (name of f) & " (" & (count of notes of f) & ")"
		end repeat
	end tell
	return my joinLines(theLines)
end run

-- include: joinLines
