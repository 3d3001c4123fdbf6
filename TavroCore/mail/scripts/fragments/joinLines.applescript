-- The texts of a list, one a line.
on joinLines(theLines)
	set AppleScript's text item delimiters to linefeed
	set joined to theLines as text
	set AppleScript's text item delimiters to ""
	return joined
end joinLines
