-- The messages that are to go now. One that can't be judged is counted, and judged again in the next pass.
set passNumber to passNumber + 1
set todo to {}
set errCount to 0
-- include: fetchMailbox
repeat with i from 1 to count of msgs
	try
		-- include: filterMessage
		if ok then set end of todo to item i of msgs
	on error
		set errCount to errCount + 1
	end try
end repeat
if (count of todo) is 0 and errCount is 0 then exit repeat
set didThisPass to 0
