-- Sends a new message.
on run argv
	set msg to my newMessage(item 1 of argv, item 2 of argv, item 3 of argv, item 4 of argv, item 5 of argv)
	tell application "Mail" to send msg
	return "OK sent"
end run

-- include: newMessage
