-- Marks the messages that pass as junk, or takes the mark away.
on run argv
	-- include: criteria
	set junkVal to item 14 of argv
	set n to 0
	tell application "Mail"
		-- include: findMailbox
		-- include: fetchMailbox
		repeat with i from 1 to count of msgs
			-- include: filterMessage
			if ok then
				set junk mail status of (item i of msgs) to (junkVal is "1")
				set n to n + 1
			end if
		end repeat
	end tell
	if junkVal is "1" then return "OK marked " & n & " message(s) as junk"
	return "OK unmarked " & n & " message(s)"
end run

-- include: mailboxNamed

-- include: parseISO
