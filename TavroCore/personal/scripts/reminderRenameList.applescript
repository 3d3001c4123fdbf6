on run argv
	set oldName to item 1 of argv
	set newName to item 2 of argv
	tell application "Reminders"
		if (count of (lists whose name is oldName)) is 0 then return "(no list named " & oldName & ")"
		set name of (first list whose name is oldName) to newName
		return "OK list renamed: " & oldName & " -> " & newName
	end tell
end run
