-- Date, size, sender and subject of the messages that pass, until the limit; 0 is no limit.
on run argv
	-- include: criteria
	set maxHits to (item 14 of argv) as integer
	set acc to {}
	tell application "Mail"
		-- include: findMailbox
		-- include: fetchMailbox
		repeat with i from 1 to count of msgs
			-- include: filterMessage
			if ok then
				set end of acc to ((item i of theDates) as text) & " || " & ((item i of theSizes) as integer) & " || " & (item i of theSenders) & " || " & (item i of theSubjects)
				if maxHits > 0 and (count of acc) ≥ maxHits then exit repeat
			end if
		end repeat
	end tell
	return my joinLines(acc)
end run

-- include: mailboxNamed

-- include: parseISO

-- include: joinLines
