-- The text of the newest message that is meant.
on run argv
	-- include: selector
	tell application "Mail"
		-- include: findMailbox
		-- include: newestMatch
		if target is missing value then return "(no matching message)"
		return content of target
	end tell
end run

-- include: mailboxNamed
