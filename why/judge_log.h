// The mail log as a whole: is it there, is it written, and what is in it?
#pragma once

#include "why/log_survey.h"
#include "why/report.h"
#include "why/set_up.h"

// Surveys the log that the set-up names, and reports what is wrong with it. False if the log is
// there but cannot be read, so that nothing is known about it.
bool judgeLog(Report& report, const SetUp& set_up, const Subject& subject, Survey& survey);
