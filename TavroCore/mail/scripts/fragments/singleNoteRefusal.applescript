-- Why a script for a single note leaves these alone; "" when there is exactly one.
on singleNoteRefusal(found)
	set n to count of found
	if n is 0 then return "(no matching note)"
	if n > 1 then return "(ambiguous: " & n & " notes match; make name= more specific)"
	return ""
end singleNoteRefusal
