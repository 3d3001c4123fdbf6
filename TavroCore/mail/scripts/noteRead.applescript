-- The one matching note as plain text, under its name.
on run argv
	set found to my notesNamed(item 1 of argv)
	set refusal to my singleNoteRefusal(found)
	if refusal is not "" then return refusal
	set n to item 1 of found
	tell application "Notes" to return (name of n) & linefeed & "----" & linefeed & (plaintext of n)
end run

-- include: notesNamed

-- include: singleNoteRefusal
