-- Flags the messages that pass, in a color if one is given, or takes their flags away. A flag that goes leaves its
-- color behind.
on run argv
	-- include: criteria
	set flagVal to item 14 of argv
	set colorVal to item 15 of argv
	set n to 0
	tell application "Mail"
		-- include: findMailbox
		-- include: fetchMailbox
		repeat with i from 1 to count of msgs
			-- include: filterMessage
			if ok then
				set m to item i of msgs
				if flagVal is "1" then
					set flagged status of m to true
					if colorVal is not "" then set flag index of m to (colorVal as integer)
				else
					set flagged status of m to false
				end if
				set n to n + 1
			end if
		end repeat
	end tell
	if flagVal is "1" then return "OK flagged " & n & " message(s)"
	return "OK unflagged " & n & " message(s)"
end run

-- include: mailboxNamed

-- include: parseISO
