-- Brings Mail to the front with the newest message that is meant.
on run argv
	-- include: selector
	tell application "Mail"
		-- include: findMailbox
		-- include: newestMatch
		if target is missing value then return "(no matching message)"
		open target
		activate
		return "OK opened: " & (subject of target)
	end tell
end run

-- include: mailboxNamed
