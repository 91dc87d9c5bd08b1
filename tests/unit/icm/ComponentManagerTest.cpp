#include <Carbon/Components.h>
#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>
#include <CoreVideo/CVPixelFormatTypes.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

std::string pascal(Handle handle) {
  return std::string(*handle + 1, static_cast<std::size_t>(static_cast<unsigned char>(**handle)));
}

std::vector<OSType> pixelFormats(Component component) {
  Handle resource = nullptr;
  if (GetComponentPublicResource(component, 'cpix', 1, &resource) != noErr) return {};
  std::vector<OSType> formats(static_cast<std::size_t>(GetHandleSize(resource)) / 4);
  std::memcpy(formats.data(), *resource, formats.size() * 4);
  DisposeHandle(resource);
  return formats;
}

TEST(ComponentManager, DescribesOurCodecComponents) {
  ComponentDescription looking{'imdc', 'apch', 0, 0, cmpIsMissing};
  Component decompressor = FindNextComponent(nullptr, &looking);
  ASSERT_NE(decompressor, nullptr);
  Handle name = NewHandle(0);
  Handle info = NewHandle(0);
  ComponentDescription cd{};
  ASSERT_EQ(GetComponentInfo(decompressor, &cd, name, info, nullptr), noErr);
  EXPECT_EQ(cd.componentType, OSType{'imdc'});
  EXPECT_EQ(cd.componentSubType, OSType{'apch'});
  EXPECT_EQ(cd.componentManufacturer, OSType{'vntr'});
  EXPECT_EQ(pascal(name), "ProRes 422 HQ");
  EXPECT_NE(pascal(info).find("ProRes 422 HQ"), std::string::npos);
  DisposeHandle(name);
  DisposeHandle(info);
  EXPECT_EQ(pixelFormats(decompressor), (std::vector<OSType>{'r4fl', 'b64a'}));

  Handle missing = nullptr;
  EXPECT_EQ(GetComponentPublicResource(decompressor, 'cpix', 2, &missing), resNotFound);
  EXPECT_EQ(missing, nullptr);
  EXPECT_EQ(GetComponentInfo(nullptr, &cd, nullptr, nullptr, nullptr), invalidComponentID);

  ComponentDescription h264{'imco', 'avc1', 0, 0, cmpIsMissing};
  Component compressor = FindNextComponent(nullptr, &h264);
  ASSERT_NE(compressor, nullptr);
  // Floats first, so that 10-bit and 4:4:4 streams keep their depth and chroma.
  EXPECT_EQ(pixelFormats(compressor), (std::vector<OSType>{'r4fl', '2vuy'}));
  ComponentDescription hevc{'imco', 'hev1', 0, 0, cmpIsMissing};
  EXPECT_EQ(FindNextComponent(nullptr, &hevc), nullptr) << "in-band HEVC is read only";
}

TEST(ComponentManager, SearchWalksEveryMatchOnceAndHonoursWildcards) {
  ComponentDescription decompressors{'imdc', 0, 0, 0, 0};
  std::set<OSType> subtypes;
  long found = 0;
  for (Component c = FindNextComponent(nullptr, &decompressors); c != nullptr;
       c = FindNextComponent(c, &decompressors)) {
    ComponentDescription cd{};
    ASSERT_EQ(GetComponentInfo(c, &cd, nullptr, nullptr, nullptr), noErr);
    EXPECT_EQ(cd.componentType, OSType{'imdc'});
    subtypes.insert(cd.componentSubType);
    ++found;
  }
  EXPECT_EQ(found, CountComponents(&decompressors));
  EXPECT_GE(found, 20);
  EXPECT_TRUE(subtypes.count('hev1') && subtypes.count('mjpa') && subtypes.count('AVdn'));
  ComponentDescription byManufacturer{0, 0, 'vntr', 0, 0};
  EXPECT_GT(CountComponents(&byManufacturer), found);
}

TEST(ComponentManager, MissingComponentsAreSkippedWhenTheMaskAsks) {
  VqtComponentRegistration registration;
  registration.description = {'imdc', 'zmis', 'test', cmpIsMissing, 0};
  registration.name = "Missing codec";
  Component component = VqtRegisterComponent(registration);
  ASSERT_NE(component, nullptr);
  ComponentDescription strict{'imdc', 'zmis', 0, 0, cmpIsMissing};
  ComponentDescription any{'imdc', 'zmis', 0, 0, 0};
  EXPECT_EQ(FindNextComponent(nullptr, &strict), nullptr);
  EXPECT_EQ(FindNextComponent(nullptr, &any), component);
  ComponentInstance instance = nullptr;
  EXPECT_NE(OpenAComponent(component, &instance), noErr) << "a missing component cannot be opened";
  EXPECT_EQ(UnregisterComponent(component), noErr);
  EXPECT_EQ(FindNextComponent(nullptr, &any), nullptr);
  EXPECT_EQ(UnregisterComponent(component), invalidComponentID);
}

TEST(ComponentManager, InstancesOpenDescribeAndClose) {
  ComponentInstance instance = OpenDefaultComponent('imco', 'avc1');
  ASSERT_NE(instance, nullptr);
  Component component = GetComponentFromInstance(instance);
  EXPECT_EQ(CountComponentInstances(component), 1);
  ComponentDescription cd{};
  EXPECT_EQ(GetComponentInfo(reinterpret_cast<Component>(instance), &cd, nullptr, nullptr, nullptr), noErr);
  EXPECT_EQ(cd.componentSubType, OSType{'avc1'});
  EXPECT_EQ(CloseComponent(instance), noErr);
  EXPECT_EQ(CountComponentInstances(component), 0);
  EXPECT_NE(CloseComponent(instance), noErr);

  ComponentInstance none = reinterpret_cast<ComponentInstance>(1);
  EXPECT_EQ(OpenADefaultComponent('imco', 'none', &none), badComponentType);
  EXPECT_EQ(none, nullptr);
}

TEST(ComponentManager, OpenHooksCanRefuseAndCloseHooksRun) {
  static int closes = 0;
  VqtComponentRegistration registration;
  registration.description = {'test', 'hook', 'test', 0, 0};
  registration.open = [](ComponentInstance instance) -> OSErr {
    SetComponentInstanceStorage(instance, reinterpret_cast<Handle>(0x1234));
    return GetComponentRefcon(GetComponentFromInstance(instance)) == 0 ? OSErr{noErr} : OSErr{memFullErr};
  };
  registration.close = [](ComponentInstance) { ++closes; };
  Component component = VqtRegisterComponent(registration);
  ComponentInstance instance = nullptr;
  ASSERT_EQ(OpenADefaultComponent('test', 'hook', &instance), noErr);
  EXPECT_EQ(GetComponentInstanceStorage(instance), reinterpret_cast<Handle>(0x1234));
  CloseComponent(instance);
  EXPECT_EQ(closes, 1);
  SetComponentRefcon(component, 7);
  EXPECT_EQ(OpenAComponent(component, &instance), memFullErr);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(CountComponentInstances(component), 0);
  UnregisterComponent(component);
}

}  // namespace
