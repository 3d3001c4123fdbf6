-- The Message-IDs of the messages that pass.
on run argv
	-- include: criteria
	set acc to {}
	tell application "Mail"
		-- include: findMailbox
		-- include: fetchMailbox
		repeat with i from 1 to count of msgs
			-- include: filterMessage
			if ok then set end of acc to message id of (item i of msgs)
		end repeat
	end tell
	return my joinLines(acc)
end run

-- include: mailboxNamed

-- include: parseISO

-- include: joinLines
