(*
Toys || Ball
Toys || Bear
Books || Bärbuch
*)
-- The walk of a search: gather in a nested tell, skip by a handler, join at the end.
property skipped : {"empty", "other"}

on run argv
	set acc to {}
	tell application "Shelf"
		repeat with b in boxes
			set n to name of b
			if not my isSkipped(n) then
				repeat with p in (packed items of b)
					if (name of p) contains "b" then set end of acc to n & " || " & (name of p)
				end repeat
			end if
		end repeat
	end tell
	set AppleScript's text item delimiters to linefeed
	return acc as string
end run

on isSkipped(boxName)
	repeat with s in skipped
		if boxName is (contents of s) then return true
	end repeat
	return false
end isSkipped
