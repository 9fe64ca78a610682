// What this program says, for people and for machines.
#pragma once

#include "tools/tavrik-setup/doctor/finding.h"
#include "tools/tavrik-setup/programs/plan.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace setup {

struct ProgramState
{
    const Program* program;
    bool isInstalled;
    Use use;
};

struct ProgramPlan
{
    const Program* program;
    Plan plan;
};

// A line for each program.
std::string StatesAsText(const std::vector<ProgramState>& states);
nlohmann::ordered_json StatesAsJson(const std::vector<ProgramState>& states);

// What is planned, or was done.
std::string PlanAsText(const ProgramPlan& planned, bool isDone, bool isUndo);
nlohmann::ordered_json PlanAsJson(const ProgramPlan& planned, bool isDone);

// What the doctor found: a line each, and what to do below it.
std::string FindingsAsText(const Findings& findings);
nlohmann::ordered_json FindingsAsJson(const Findings& findings);

// Text that a terminal can show, whatever is in the lines.
std::string PrintableLines(const std::string& text);

// One value of JSON with its end of line, in ASCII escapes where a terminal would act on the characters.
std::string JsonLines(const nlohmann::ordered_json& json);

} // namespace setup
