-- Sends the owner a message, from the owner's own address where it is one of Mail's.
on run argv
	set theOwner to item 2 of argv
	set msg to my newMessage(theOwner, item 1 of argv, item 3 of argv, item 5 of argv, item 4 of argv)
	tell application "Mail" to send msg
	return "OK notify sent to " & theOwner
end run

-- include: newMessage
