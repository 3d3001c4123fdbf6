-- Answers the newest message that is meant, in its thread and with its text quoted below.
on run argv
	-- include: selector
	set theReply to item 6 of argv
	set toAll to (item 7 of argv) is "1"
	tell application "Mail"
		-- include: findMailbox
		-- include: newestMatch
		if target is missing value then error "no matching message to reply to"
		set sentOn to date sent of target
		set quotation to content of target
		set r to reply target opening window false reply to all toAll
		set content of r to theReply & return & return & "On " & (sentOn as text) & ", " & (sender of target) & " wrote:" & return & quotation
		send r
	end tell
	return "OK replied"
end run

-- include: mailboxNamed
