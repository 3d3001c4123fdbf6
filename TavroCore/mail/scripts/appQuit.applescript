-- Quits an application. To tell one that isn't running to quit would start it, so ask first.
on run argv
	set appName to item 1 of argv
	tell application "System Events" to set isRunning to exists (application process appName)
	if not isRunning then return "(not running: " & appName & ")"
	tell application appName to quit
	return "OK quit: " & appName
end run
