-- The people whose name and some email address contain what is asked for, until the limit; 0 is no limit.
on run argv
	set qName to item 1 of argv
	set qEmail to item 2 of argv
	set maxHits to (item 3 of argv) as integer
	set hits to {}
	tell application "Contacts"
		if qName is not "" then
			set candidates to people whose name contains qName
		else
			set candidates to people
		end if
		repeat with p in candidates
			set addressTexts to value of emails of p
			if qEmail is "" or my anyContains(addressTexts, qEmail) then
				set org to organization of p
				if org is missing value then set org to ""
				set phoneTexts to value of phones of p
				set end of hits to (name of p) & " || " & org & " || " & my spaced(addressTexts) & "|| " & my spaced(phoneTexts)
				if maxHits > 0 and (count of hits) ≥ maxHits then exit repeat
			end if
		end repeat
	end tell
	return my joinLines(hits)
end run

on anyContains(theTexts, q)
	repeat with t in theTexts
		if (t as text) contains q then return true
	end repeat
	return false
end anyContains

-- Each text with a blank behind it.
on spaced(theTexts)
	set joined to ""
	repeat with t in theTexts
		set joined to joined & (t as text) & " "
	end repeat
	return joined
end spaced

-- include: joinLines
