-- A new note in the default folder. Title and body are HTML already.
on run argv
	set theTitle to item 1 of argv
	set theBody to item 2 of argv
	tell application "Notes"
		set n to make new note with properties {body:("<div><b>" & theTitle & "</b></div><div>" & theBody & "</div>")}
		return "OK note: " & (name of n)
	end tell
end run
