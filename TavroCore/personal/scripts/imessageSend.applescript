on run argv
	set toAddr to item 1 of argv
	set theText to item 2 of argv
	tell application "Messages"
		set svc to (1st account whose service type is iMessage)
		send theText to participant toAddr of svc
	end tell
	return "OK imessage sent to " & toAddr
end run
