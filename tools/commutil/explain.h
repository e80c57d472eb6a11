#pragma once

#include <json/value.h>

#include <string>

#include "collect.h"
#include "settings/explanation.h"

// How explanations are shown, by explain and by report.

/// An explanation together with the library's own answer.
struct ExplainedAnswer {
  settings::Explanation explanation;
  Json::Value value;     ///< the library's answer; the catalog's if the library is not called
  std::string mismatch;  ///< how the two differ, "" if they agree
};

ExplainedAnswer explained(const settings::Explainer& explainer, const settings::Answer& answer,
                          const Collection& collection);

/// Returns a JSON object with the members name, operation, meaning, answer, decidedBy and sources.
Json::Value jsonOf(const ExplainedAnswer& answer);

/// Returns a line for the answer and one for each source.
std::string textOf(const ExplainedAnswer& answer);

/// Returns an answer's value as plain text.
std::string valueText(const Json::Value& value);
