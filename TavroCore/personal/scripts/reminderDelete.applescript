on run argv
	set listQ to item 1 of argv
	set nameQ to item 2 of argv
	tell application "Reminders"
		if listQ is "" then
			set theLists to lists
		else
			set theLists to {(first list whose name is listQ)}
		end if
		set victims to {}
		repeat with theList in theLists
			repeat with theRem in (reminders of theList)
				if (name of theRem) contains nameQ then set end of victims to theRem
			end repeat
		end repeat
		set n to 0
		repeat with v in victims
			try
				delete v
				set n to n + 1
			end try
		end repeat
		return "OK deleted " & n & " reminder(s)"
	end tell
end run
