-- Where to look, and the eleven filters; an empty one lets every message pass.
set acctName to item 1 of argv
set mbName to item 2 of argv
set fromQ to item 3 of argv
set toQ to item 4 of argv
set beforeQ to item 5 of argv
set afterQ to item 6 of argv
set olderQ to item 7 of argv
set minQ to item 8 of argv
set maxQ to item 9 of argv
set subjectQ to item 10 of argv
set containsQ to item 11 of argv
set statusQ to item 12 of argv
set attachQ to item 13 of argv
set minBytes to 0
set maxBytes to 0
if minQ is not "" then set minBytes to (minQ as real)
if maxQ is not "" then set maxBytes to (maxQ as real)
set beforeDate to missing value
set afterDate to missing value
if beforeQ is not "" then set beforeDate to my parseISO(beforeQ)
if afterQ is not "" then set afterDate to my parseISO(afterQ)
if olderQ is not "" then set beforeDate to (current date) - ((olderQ as integer) * days)
