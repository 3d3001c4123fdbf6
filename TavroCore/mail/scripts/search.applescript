-- As mailAudit, over several accounts and mailboxes ("all", or of one name), each line led by where the message is.
-- A mailbox that can't be read is passed over.
on run argv
	-- include: criteria
	set maxHits to (item 14 of argv) as integer
	set acc to {}
	tell application "Mail"
		if acctName is "all" or acctName is "" then
			set theAccounts to every account
		else
			set theAccounts to {first account whose name is acctName}
		end if
		repeat with theAccount in theAccounts
			set accountName to name of theAccount
			repeat with mb in (every mailbox of theAccount)
				set boxName to name of mb
				if mbName is "all" or mbName is "" or boxName is mbName then
					try
						-- include: fetchMailbox
						repeat with i from 1 to count of msgs
							-- include: filterMessage
							if ok then
								set end of acc to accountName & "/" & boxName & " || " & ((item i of theDates) as text) & " || " & ((item i of theSizes) as integer) & " || " & (item i of theSenders) & " || " & (item i of theSubjects)
								if maxHits > 0 and (count of acc) ≥ maxHits then exit repeat
							end if
						end repeat
					end try
				end if
				if maxHits > 0 and (count of acc) ≥ maxHits then exit repeat
			end repeat
			if maxHits > 0 and (count of acc) ≥ maxHits then exit repeat
		end repeat
	end tell
	return my joinLines(acc)
end run

-- include: parseISO

-- include: joinLines
