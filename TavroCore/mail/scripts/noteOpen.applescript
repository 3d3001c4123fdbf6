-- Brings Notes to the front with the first matching note.
on run argv
	set q to item 1 of argv
	tell application "Notes"
		activate
		repeat with theAcc in accounts
			repeat with f in folders of theAcc
				if not my isTrashFolder(name of f) then
					repeat with n in notes of f
						if (name of n) contains q then
							show n
							return "OK opened: " & (name of n)
						end if
					end repeat
				end if
			end repeat
		end repeat
	end tell
	return "(no matching note)"
end run

-- include: isTrashFolder
