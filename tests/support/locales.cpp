#include "support/locales.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

#include "support/namespaces.h"

namespace commutil_test {

Latin1Locale::Latin1Locale() {
  shell("localedef --no-archive -i de_DE -f ISO-8859-1 " + (m_dir / kName));
}

void Latin1Locale::offer() const { ::setenv("LOCPATH", m_dir.path().c_str(), 1); }

void Latin1Locale::set() const {
  offer();
  setLocale(kName);
}

void setLocale(const char* name) {
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, name)) << "no locale " << name;
}

}  // namespace commutil_test
