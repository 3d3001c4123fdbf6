on run argv
	set listQ to item 1 of argv
	set nameQ to item 2 of argv
	set doneVal to item 3 of argv
	tell application "Reminders"
		if listQ is "" then
			set theLists to lists
		else
			set theLists to {(first list whose name is listQ)}
		end if
		set n to 0
		repeat with theList in theLists
			repeat with theRem in (reminders of theList)
				if (name of theRem) contains nameQ then
					set completed of theRem to (doneVal is "1")
					set n to n + 1
				end if
			end repeat
		end repeat
		return "OK updated " & n & " reminder(s)"
	end tell
end run
