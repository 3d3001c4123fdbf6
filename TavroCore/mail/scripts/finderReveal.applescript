-- Shows a file or folder in Finder. A path that isn't there fails as an alias.
on run argv
	set p to item 1 of argv
	tell application "Finder"
		reveal (POSIX file p as alias)
		activate
	end tell
	return "OK revealed " & p
end run
