-- A new person with what is given. A whole name without its parts goes into the first name as it is.
on run argv
	set firstName to item 1 of argv
	set lastName to item 2 of argv
	set wholeName to item 3 of argv
	set em to item 4 of argv
	set ph to item 5 of argv
	set org to item 6 of argv
	if firstName is "" and lastName is "" then set firstName to wholeName
	tell application "Contacts"
		set p to make new person
		if firstName is not "" then set first name of p to firstName
		if lastName is not "" then set last name of p to lastName
		if org is not "" then set organization of p to org
		if em is not "" then make new email at end of emails of p with properties {label:"work", value:em}
		if ph is not "" then make new phone at end of phones of p with properties {label:"mobile", value:ph}
		save
		return "OK contact created: " & (name of p)
	end tell
end run
