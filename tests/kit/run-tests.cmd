@echo off
rem Runs all tests of Harbinet PRO on this computer: run-tests.cmd [/admin] [PROGRAM...]
rem Nothing is installed. Settings and data folder of Harbinet PRO are put aside meanwhile, and put back at the end;
rem after Ctrl-C at once, after a crash when this is started the next time. The results are in the folder "results".
rem /admin runs the part for administrators as well; it needs a prompt opened with "Run as administrator".
setlocal
set wait=
rem A double click runs this with "cmd /c": the window closes with the last line, unless somebody is waited for.
echo %cmdcmdline% | find /i " /c " >nul && set wait=/wait
"%~dp0bin\run_kit.exe" %wait% %*
