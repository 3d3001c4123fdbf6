-- The newest message of a subject: where, and which.
set acctName to item 1 of argv
set mbName to item 2 of argv
set subjectQ to item 3 of argv
set containsQ to item 4 of argv
set fromQ to item 5 of argv
