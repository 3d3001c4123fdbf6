-- Local midnight at the start of a day written YYYY-MM-DD. The day is 1 while year and month change, as a 31st
-- would roll over into the next month.
on parseISO(s)
	set theYear to (text 1 thru 4 of s) as integer
	set theMonth to (text 6 thru 7 of s) as integer
	set theDay to (text 9 thru 10 of s) as integer
	set d to current date
	set time of d to 0
	set day of d to 1
	set year of d to theYear
	set month of d to theMonth
	set day of d to theDay
	return d
end parseISO
