// The conclusion: is anything wrong, and may the subject relay?
#pragma once

#include "why/host_files.h"
#include "why/log_survey.h"
#include "why/report.h"
#include "why/set_up.h"

// Reports every kind of login in the log, and whether the host file holds what it should. Returns
// the exit status: 0 nothing is wrong, 1 something is, 2 something could not be found out.
int judgeAll(Report& report, const SetUp& set_up, const Survey& survey, const Listed& listed);

// Reports what the log has of the subject, and ends with the verdict. Returns the exit status:
// 0 it may relay, 1 it may not, 2 that could not be found out.
int judgeSubject(Report& report, const SetUp& set_up, const Subject& subject, bool has_log,
                 const Survey& survey, const Listed& listed);
