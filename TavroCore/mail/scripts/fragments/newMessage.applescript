-- A message on its way out. The paths of its attachments are one a line. A sender that isn't one of the owner's
-- addresses leaves Mail's own choice.
on newMessage(theAddress, theSubject, theBody, thePaths, theSender)
	tell application "Mail"
		set msg to make new outgoing message with properties {subject:theSubject, content:theBody, visible:false}
		tell msg to make new to recipient at end of to recipients with properties {address:theAddress}
		if theSender is not "" then
			try
				set sender of msg to theSender
			end try
		end if
		if thePaths is not "" then
			set AppleScript's text item delimiters to linefeed
			set pathList to text items of thePaths
			set AppleScript's text item delimiters to ""
			repeat with p in pathList
				tell content of msg to make new attachment with properties {file name:(POSIX file (contents of p) as alias)} at after the last paragraph
			end repeat
			-- Mail reads the files on its own time.
			delay 1
		end if
	end tell
	return msg
end newMessage
