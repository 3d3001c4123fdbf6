-- Moves the messages that pass to the trash, in passes over what is left, and counts those that went.
on run argv
	-- include: criteria
	set total to 0
	set passNumber to 0
	tell application "Mail"
		-- include: findMailbox
		repeat
			-- include: gatherPass
			repeat with m in todo
				try
					delete m
					set didThisPass to didThisPass + 1
				end try
			end repeat
			-- include: endPass
		end repeat
	end tell
	return "OK deleted " & total & " message(s) -> Trash"
end run

-- include: mailboxNamed

-- include: parseISO
