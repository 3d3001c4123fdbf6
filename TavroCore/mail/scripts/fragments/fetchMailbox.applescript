-- Each property in one request for the whole mailbox: one a message would take minutes.
set msgs to every message of mb
set theSizes to message size of every message of mb
set theSenders to sender of every message of mb
set theSubjects to subject of every message of mb
set theDates to date received of every message of mb
if statusQ is not "" then set theReads to read status of every message of mb
