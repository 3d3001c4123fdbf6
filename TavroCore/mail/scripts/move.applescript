-- Moves the messages that pass to another mailbox of the account, in passes over what is left, and counts those that
-- went.
on run argv
	-- include: criteria
	set destName to item 14 of argv
	set total to 0
	set passNumber to 0
	tell application "Mail"
		-- include: findMailbox
		set destMB to my mailboxNamed(theAccount, destName)
		if destMB is missing value then error "destination mailbox not found: " & destName
		repeat
			-- include: gatherPass
			repeat with m in todo
				try
					move m to destMB
					set didThisPass to didThisPass + 1
				end try
			end repeat
			-- include: endPass
		end repeat
	end tell
	return "OK moved " & total & " message(s) -> " & destName
end run

-- include: mailboxNamed

-- include: parseISO
