-- The notes outside the trash whose name and text contain what is asked for; an empty filter lets
-- every note pass. The limit cuts the finished list, and 0 is no limit.
on run argv
	set qName to item 1 of argv
	set qBody to item 2 of argv
	set maxHits to (item 3 of argv) as integer
	set hits to {}
	tell application "Notes"
		repeat with theAcc in accounts
			repeat with f in folders of theAcc
				set folderName to name of f
				if not my isTrashFolder(folderName) then
					repeat with n in notes of f
						set noteName to name of n
						set isHit to true
						if qName is not "" then set isHit to noteName contains qName
						if isHit and qBody is not "" then set isHit to (plaintext of n) contains qBody
						if isHit then set end of hits to folderName & " || " & noteName & " || " & ((modification date of n) as text)
					end repeat
				end if
			end repeat
		end repeat
	end tell
	if maxHits > 0 and (count of hits) > maxHits then set hits to items 1 thru maxHits of hits
	return my joinLines(hits)
end run

-- include: isTrashFolder

-- include: joinLines
