#pragma once

#include <json/value.h>

#include <string>

#include "collect.h"
#include "settings/explanation.h"

// How explanations are shown, by explain and by report.

/// An explanation together with the library's own answer.
struct ExplainedAnswer {
  settings::Explanation explanation;
  Json::Value value;     ///< the library's answer; the catalog's where the library is not asked
  std::string mismatch;  ///< what is wrong between the two, "" if nothing
};

ExplainedAnswer explained(const settings::Explainer& explainer, const settings::Answer& answer,
                          const Collection& collection);

/// As a JSON object with the members name, operation, meaning, answer, decidedBy and sources.
Json::Value jsonOf(const ExplainedAnswer& answer);

/// As a line for the answer and one for each source.
std::string textOf(const ExplainedAnswer& answer);

/// An answer's value in plain words.
std::string valueText(const Json::Value& value);
