-- How many messages pass, and their kilobytes: what an action on them would touch.
on run argv
	-- include: criteria
	set n to 0
	set tot to 0.0
	tell application "Mail"
		-- include: findMailbox
		-- include: fetchMailbox
		repeat with i from 1 to count of msgs
			-- include: filterMessage
			if ok then
				set n to n + 1
				set tot to tot + (item i of theSizes)
			end if
		end repeat
	end tell
	return (n as text) & "|" & ((tot / 1024) as integer)
end run

-- include: mailboxNamed

-- include: parseISO
