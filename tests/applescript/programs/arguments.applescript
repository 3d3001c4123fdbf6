(*
first|second one|3
5	word
*)
on run argv
	set AppleScript's text item delimiters to "|"
	set joined to argv as string
	set AppleScript's text item delimiters to ""
	set n to ((item 3 of argv) as integer) + ¬
		2 -- a continued line
	# a comment, (* and one (* in it *) more *)
	return joined & linefeed & n & tab & shown(1)
end run

to shown(f)
	return item f of {"word"}
end shown
