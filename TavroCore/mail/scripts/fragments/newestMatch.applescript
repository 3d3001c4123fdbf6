-- The newest message that is meant; of two as new, the first in the mailbox.
set msgs to every message of mb
set theSubjects to subject of every message of mb
set theSenders to sender of every message of mb
set theDates to date received of every message of mb
set target to missing value
set targetDate to missing value
repeat with i from 1 to count of msgs
	set ok to true
	if subjectQ is not "" then set ok to (item i of theSubjects) is subjectQ
	if ok and containsQ is not "" then set ok to (item i of theSubjects) contains containsQ
	if ok and fromQ is not "" then set ok to (item i of theSenders) contains fromQ
	if ok and targetDate is not missing value then set ok to (item i of theDates) > targetDate
	if ok then
		set target to item i of msgs
		set targetDate to item i of theDates
	end if
end repeat
