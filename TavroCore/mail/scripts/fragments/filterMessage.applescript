-- Does message i pass? The last two tests ask Mail about this one message, so they come after all others.
set ok to true
if fromQ is not "" then set ok to (item i of theSenders) contains fromQ
if ok and subjectQ is not "" then set ok to (item i of theSubjects) is subjectQ
if ok and containsQ is not "" then set ok to (item i of theSubjects) contains containsQ
if ok and minBytes > 0 then set ok to (item i of theSizes) ≥ minBytes
if ok and maxBytes > 0 then set ok to (item i of theSizes) ≤ maxBytes
if ok and beforeDate is not missing value then set ok to (item i of theDates) < beforeDate
if ok and afterDate is not missing value then set ok to (item i of theDates) > afterDate
if ok and statusQ is "unread" then set ok to not (item i of theReads)
if ok and statusQ is "read" then set ok to (item i of theReads)
if ok and toQ is not "" then
	set ok to false
	try
		repeat with theAddress in (address of to recipients of (item i of msgs))
			if (theAddress as text) contains toQ then
				set ok to true
				exit repeat
			end if
		end repeat
	end try
end if
if ok and attachQ is not "" then
	set attachmentTotal to 0
	try
		set attachmentTotal to count of mail attachments of (item i of msgs)
	end try
	set ok to attachmentTotal > 0
end if
