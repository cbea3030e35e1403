#include <gtest/gtest.h>

#include "plinth/platform/library.h"
#include "plinth/system.h"

namespace {
const char* const kPlugin = "libplinth-test-plugin.so";

int Call(DynamicLibrary::Proc proc) { return reinterpret_cast<int (*)()>(proc)(); }
}  // namespace

TEST(DynamicLibrary, BareNameComesFromThePlinthDirectoryFirstAndLoadKeepsIt) {
  DynamicLibrary lib;
  EXPECT_FALSE(lib.Load(nullptr, 0));
  EXPECT_FALSE(lib.Load("libplinth-no-such-library.so", 0));
  EXPECT_EQ(lib.GetProcAddr("plugin_origin"), nullptr);
  ASSERT_TRUE(lib.Load(kPlugin, 0x7fff)) << plinth::platform::plinth_directory();  // flags don't matter
  // A second Load keeps the first library.
  EXPECT_TRUE(lib.Load(PLINTH_TEST_PLUGIN_ELSEWHERE, 0));
  EXPECT_EQ(Call(lib.GetProcAddr("plugin_origin")), 1);
  EXPECT_EQ(lib.GetProcAddr("no_such_symbol"), nullptr);
  EXPECT_EQ(lib.GetProcAddr(1), nullptr);  // no ordinals in shared objects
  EXPECT_TRUE(lib.Unload());
  EXPECT_FALSE(lib.IsLoaded());

  DynamicLibrary elsewhere(PLINTH_TEST_PLUGIN_ELSEWHERE);
  EXPECT_EQ(Call(elsewhere.GetProcAddr("plugin_origin")), 2);
  // Not beside the library: the normal search finds it.
  EXPECT_NE(DynamicLibrary("libm.so.6").GetProcAddr("cos"), nullptr);
}

TEST(DynamicLibrary, CacheSlotsKeepTheirFirstLookUp) {
  DynamicLibrary lib;
  EXPECT_EQ(lib.GetProcAddrCached("plugin_origin", 3), nullptr);  // nothing loaded
  ASSERT_TRUE(lib.Load(kPlugin, 0));
  // The unloaded call above left no mark: slot 3 looks up now.
  EXPECT_EQ(Call(lib.GetProcAddrCached("plugin_origin", 3)), 1);
  // A failed look-up stands for the slot, even under a good name.
  EXPECT_EQ(lib.GetProcAddrCached("no_such_symbol", 0), nullptr);
  EXPECT_EQ(lib.GetProcAddrCached("plugin_origin", 0), nullptr);
  // The slot decides, not the name; an ordinal is a slot like any other.
  EXPECT_EQ(lib.GetProcAddrCached("plugin_counter", 3), lib.GetProcAddr("plugin_origin"));
  EXPECT_EQ(lib.GetProcAddrCached(3), lib.GetProcAddr("plugin_origin"));
  EXPECT_EQ(lib.GetProcAddrCached(5), nullptr);
  EXPECT_EQ(lib.GetProcAddrCached("plugin_origin", 5), nullptr);
  EXPECT_EQ(lib.GetProcAddrCached(-1), nullptr);
  // After Unload and a new Load the cache starts empty.
  lib.Unload();
  ASSERT_TRUE(lib.Load(kPlugin, 0));
  EXPECT_EQ(lib.GetProcAddrCached("plugin_counter", 3), lib.GetProcAddr("plugin_counter"));
}

TEST(DynamicLibrary, CopiesShareTheLibraryUntilTheLastGoes) {
  auto* first = new DynamicLibrary(kPlugin);
  ASSERT_TRUE(first->IsLoaded());
  first->GetProcAddrCached("plugin_counter", 0);
  EXPECT_EQ(Call(first->GetProcAddr("plugin_counter")), 1);
  DynamicLibrary copy(*first);
  DynamicLibrary assigned;
  assigned = *first;
  delete first;  // the copies keep it mapped, and have its cache
  EXPECT_EQ(Call(copy.GetProcAddrCached("no_such_symbol", 0)), 2);
  copy.Unload();
  EXPECT_EQ(Call(assigned.GetProcAddr("plugin_counter")), 3);
  assigned.Unload();
  // Gone with the last owner: mapped afresh, its count starts again.
  EXPECT_EQ(Call(DynamicLibrary(kPlugin).GetProcAddr("plugin_counter")), 1);
}
