#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "plinth/i18n.h"
#include "plinth/platform/sys_string.h"

using i18n_aux::_bstr_helper;
using namespace plinth::platform;

namespace {
std::wstring Text(_bstr_helper& b) { return static_cast<wchar_t*>(b); }
}  // namespace

TEST(SysString, LengthTravelsWithTheText) {
  const wchar_t withZero[] = {L'a', 0, L'b'};
  wchar_t* s = SysAllocStringLen(withZero, 3);
  EXPECT_EQ(SysStringLen(s), 3u);
  EXPECT_EQ(std::wstring(s, 3), std::wstring(withZero, 3));
  EXPECT_EQ(s[3], 0);
  SysFreeString(s);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  SysFreeString(nullptr);
}

// The sanitizers check what the tests can't see: every string is freed
// exactly once, by the last owner.
TEST(BstrHelper, FilledThroughItsAddressAndSharedByCopies) {
  _bstr_helper a;
  *&a = SysAllocString(L"filled");
  {
    _bstr_helper b(a);
    _bstr_helper c;
    c = b;
    EXPECT_EQ(static_cast<wchar_t*>(c), static_cast<wchar_t*>(a));
    c = c;  // self-assignment keeps the record
    EXPECT_EQ(Text(c), L"filled");
  }
  EXPECT_EQ(Text(a), L"filled");
  // Assigning drops the former record: here the last owner of "other".
  _bstr_helper other;
  *&other = SysAllocString(L"other");
  other = a;
  a = _bstr_helper();  // a null record is shared as null
  EXPECT_EQ(static_cast<wchar_t*>(a), nullptr);
  EXPECT_EQ(Text(other), L"filled");
}

TEST(BstrHelper, CopiesDieOnManyThreads) {
  _bstr_helper origin;
  *&origin = SysAllocString(L"shared");
  std::vector<std::thread> threads;
  {
    std::vector<_bstr_helper> copies(8, origin);
    origin = _bstr_helper();
    for (auto& copy : copies)
      threads.emplace_back([mine = copy]() mutable {
        for (int i = 0; i < 1000; ++i) {
          _bstr_helper local(mine);
          _bstr_helper assigned;
          assigned = local;
          if (Text(assigned) != L"shared") std::abort();
        }
      });
  }
  for (auto& t : threads) t.join();
}
