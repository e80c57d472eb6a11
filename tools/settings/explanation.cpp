// Chooses how an answer is explained.
#include "settings/explanation.h"

namespace settings {

Explainer::Explainer(const Facts& facts) : m_facts(facts), m_document(facts) {}

Explanation Explainer::explain(const Answer& answer) const {
  using Method = Explanation (Explainer::*)(const Answer&) const;
  static const std::map<std::string_view, Method> methods{
      {"isListenAllIp", &Explainer::listenSwitch},
      {"isListenLoopback", &Explainer::listenSwitch},
      {"isCorbaSSLOnly", &Explainer::corbaSwitch},
      {"isTsMode", &Explainer::tsMode},
      {"isZirel", &Explainer::distribution},
      {"getDBType", &Explainer::databaseType},
      {"getTracePath", &Explainer::tracePath},
      {"getDumpAllLocksFile", &Explainer::lockDump},
      {"GetAllWebswingNodeIPs", &Explainer::clusterNodes},
      {"checkUnSafeStr", &Explainer::unsafeWords},
      {"getCommonConfigPath", &Explainer::directory},
      {"getConfigPath", &Explainer::directory},
      {"getAppConfigPath", &Explainer::directory},
      {"getAPPShareConfigPath", &Explainer::directory},
  };
  Explanation result;
  const auto method = methods.find(answer.name);
  if (method != methods.end()) {
    result = (this->*method->second)(answer);
  } else if (answer.kind == AnswerKind::option) {
    result = sslOption(answer);
  } else if (answer.kind == AnswerKind::path) {
    result = searchedFile(answer);
  } else {
    result.value = true;
    result.decidedBy = "nothing: it is always yes";
  }
  result.answer = &answer;
  return result;
}

}  // namespace settings
