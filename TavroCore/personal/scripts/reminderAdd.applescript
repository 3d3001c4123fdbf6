on run argv
	set theName to item 1 of argv
	set listName to item 2 of argv
	set dueStr to item 3 of argv
	set noteStr to item 4 of argv
	tell application "Reminders"
		if listName is "" then
			set r to (make new reminder with properties {name:theName})
		else
			tell (first list whose name is listName)
				set r to (make new reminder with properties {name:theName})
			end tell
		end if
		if noteStr is not "" then set body of r to noteStr
		if dueStr is not "" then set due date of r to my parseISO(dueStr)
		return "OK reminder created"
	end tell
end run

on parseISO(s)
	set y to (text 1 thru 4 of s) as integer
	set mo to (text 6 thru 7 of s) as integer
	set d to (text 9 thru 10 of s) as integer
	set dt to current date
	set time of dt to 0
	set day of dt to 1
	set year of dt to y
	set month of dt to mo
	set day of dt to d
	return dt
end parseISO
