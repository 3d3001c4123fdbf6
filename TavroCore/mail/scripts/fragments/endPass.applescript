-- The passes end when nothing moves any more, and at the latest with the thirtieth.
set total to total + didThisPass
if didThisPass is 0 and errCount is 0 then exit repeat
if passNumber ≥ 30 then exit repeat
