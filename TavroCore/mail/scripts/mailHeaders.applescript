-- Date, sender and subject of a mailbox's messages, in its order. A limit above 0 takes the first ones.
on run argv
	set acctName to item 1 of argv
	set mbName to item 2 of argv
	set maxLines to (item 3 of argv) as integer
	set acc to {}
	tell application "Mail"
		-- include: findMailbox
		set theDates to date received of every message of mb
		set theSenders to sender of every message of mb
		set theSubjects to subject of every message of mb
		set n to count of theDates
		if maxLines > 0 and n > maxLines then set n to maxLines
		repeat with i from 1 to n
			set end of acc to ((item i of theDates) as text) & " || " & (item i of theSenders) & " || " & (item i of theSubjects)
		end repeat
	end tell
	return my joinLines(acc)
end run

-- include: mailboxNamed

-- include: joinLines
