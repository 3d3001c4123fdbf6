on run argv
	set listName to item 1 of argv
	tell application "Reminders"
		if (count of (lists whose name is listName)) > 0 then
			return "OK list exists: " & listName
		end if
		make new list with properties {name:listName}
		return "OK list created: " & listName
	end tell
end run
