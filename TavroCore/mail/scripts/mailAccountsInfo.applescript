-- Each account's name, first address and server, a line each with tabs between; what Mail can't tell is empty.
on run
	set found to ""
	tell application "Mail"
		repeat with theAccount in accounts
			set accountName to (name of theAccount) as text
			set serverName to ""
			try
				set serverName to (server name of theAccount) as text
			end try
			set firstAddress to ""
			try
				set firstAddress to (item 1 of (email addresses of theAccount)) as text
			end try
			set found to found & accountName & tab & firstAddress & tab & serverName & linefeed
		end repeat
	end tell
	return found
end run
