-- Replaces the text of the one matching note, keeping its title, and then appends to it; each if given.
on run argv
	set found to my notesNamed(item 1 of argv)
	set newText to item 2 of argv
	set newBody to item 3 of argv
	set refusal to my singleNoteRefusal(found)
	if refusal is not "" then return refusal
	set n to item 1 of found
	tell application "Notes"
		set noteName to name of n
		if newBody is not "" then set body of n to "<div><b>" & noteName & "</b></div><div>" & newBody & "</div>"
		if newText is not "" then set body of n to (body of n) & "<div>" & newText & "</div>"
	end tell
	return "OK updated: " & noteName
end run

-- include: notesNamed

-- include: singleNoteRefusal
