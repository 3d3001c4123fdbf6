on run argv
	set calName to item 1 of argv
	set theSummary to item 2 of argv
	set dDays to (item 3 of argv) as integer
	set hourStr to (item 4 of argv)
	set durMin to (item 5 of argv) as integer
	set locStr to item 6 of argv
	set noteStr to item 7 of argv
	set urlStr to item 8 of argv
	tell application "Calendar"
		set startDate to ((current date) + (dDays * days))
		if hourStr is not "" then
			set hours of startDate to (hourStr as integer)
			set minutes of startDate to 0
			set seconds of startDate to 0
		end if
		set endDate to (startDate + (durMin * minutes))
		tell calendar calName
			set ev to (make new event with properties {summary:theSummary, start date:startDate, end date:endDate})
			if locStr is not "" then set location of ev to locStr
			if noteStr is not "" then set description of ev to noteStr
			if urlStr is not "" then set url of ev to urlStr
			return "OK event @ " & ((start date of ev) as string)
		end tell
	end tell
end run
