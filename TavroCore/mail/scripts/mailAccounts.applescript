-- Every account, and below it its mailboxes. A mailbox that can't be read is left out.
on run argv
	set acc to {}
	tell application "Mail"
		repeat with theAccount in (every account)
			set end of acc to "ACCOUNT: " & (name of theAccount)
			repeat with mb in (every mailbox of theAccount)
				try
					set end of acc to "  " & (name of mb)
				end try
			end repeat
		end repeat
	end tell
	return my joinLines(acc)
end run

-- include: joinLines
