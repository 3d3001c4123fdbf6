-- Passes the newest message that is meant on to somebody, below a note.
on run argv
	-- include: selector
	set theAddress to item 6 of argv
	set theNote to item 7 of argv
	tell application "Mail"
		-- include: findMailbox
		-- include: newestMatch
		if target is missing value then error "no matching message to forward"
		set original to content of target
		set f to forward target opening window false
		tell f to make new to recipient at end of to recipients with properties {address:theAddress}
		set content of f to theNote & return & return & "---------- Forwarded message ----------" & return & "From: " & (sender of target) & return & "Subject: " & (subject of target) & return & return & original
		send f
	end tell
	return "OK forwarded to " & theAddress
end run

-- include: mailboxNamed
