-- The notes outside the trash whose name contains q.
on notesNamed(q)
	set found to {}
	tell application "Notes"
		repeat with theAcc in accounts
			repeat with f in folders of theAcc
				if not my isTrashFolder(name of f) then
					repeat with n in notes of f
						if (name of n) contains q then set end of found to contents of n
					end repeat
				end if
			end repeat
		end repeat
	end tell
	return found
end notesNamed

-- include: isTrashFolder
