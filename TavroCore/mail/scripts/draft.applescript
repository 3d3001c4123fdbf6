-- Leaves a new message among the drafts.
on run argv
	set msg to my newMessage(item 1 of argv, item 2 of argv, item 3 of argv, item 4 of argv, item 5 of argv)
	tell application "Mail" to save msg
	return "OK draft saved"
end run

-- include: newMessage
