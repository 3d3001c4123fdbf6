-- The account's mailbox of this name; the last one listed when several have it.
on mailboxNamed(theAccount, theName)
	set found to missing value
	tell application "Mail"
		repeat with m in (every mailbox of theAccount)
			if (name of m) is theName then set found to contents of m
		end repeat
	end tell
	return found
end mailboxNamed
