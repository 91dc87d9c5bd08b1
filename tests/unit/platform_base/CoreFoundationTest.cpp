#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cstring>

TEST(CFStrings, ConstantsAreInternedAndImmortal) {
  CFStringRef a = CFSTR("host");
  EXPECT_EQ(a, CFSTR("host"));
  CFRelease(a);
  CFRelease(a);
  EXPECT_STREQ(CFStringGetCStringPtr(a, kCFStringEncodingUTF8), "host");
}

TEST(CFStrings, ConvertBetweenEncodings) {
  CFStringRef s = CFStringCreateWithCString(nullptr, "caf\xC3\xA9 \xF0\x9F\x8E\xAC", kCFStringEncodingUTF8);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(CFStringGetLength(s), 7);  // the emoji is a surrogate pair
  char ascii[32];
  EXPECT_FALSE(CFStringGetCString(s, ascii, sizeof ascii, kCFStringEncodingASCII));
  char exact[11];
  EXPECT_TRUE(CFStringGetCString(s, exact, sizeof exact, kCFStringEncodingUTF8));
  char tooSmall[10];
  EXPECT_FALSE(CFStringGetCString(s, tooSmall, sizeof tooSmall, kCFStringEncodingUTF8));
  EXPECT_GE(CFStringGetMaximumSizeForEncoding(CFStringGetLength(s), kCFStringEncodingUTF8) + 1, 11);
  CFRelease(s);
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "\xC3", kCFStringEncodingUTF8), nullptr);
  CFStringRef latin = CFStringCreateWithCString(nullptr, "\xE9", kCFStringEncodingISOLatin1);
  EXPECT_STREQ(CFStringGetCStringPtr(latin, kCFStringEncodingUTF8), "\xC3\xA9");
  CFRelease(latin);
}

TEST(CFDictionaries, RetainWithTypeCallbacksOnly) {
  const long before = VqtCFLiveObjectCount();
  SInt32 width = 1920;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &width);
  CFMutableDictionaryRef dict =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef key = CFStringCreateWithCString(nullptr, "Width", kCFStringEncodingUTF8);
  CFDictionarySetValue(dict, key, number);
  EXPECT_EQ(CFGetRetainCount(number), 2);
  // Keys compare by value, not by pointer.
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("Width")), number);
  CFDictionarySetValue(dict, CFSTR("Width"), kCFBooleanTrue);
  EXPECT_EQ(CFGetRetainCount(number), 1);
  EXPECT_EQ(CFDictionaryGetCount(dict), 1);
  CFRelease(dict);
  CFRelease(key);
  CFRelease(number);
  EXPECT_EQ(VqtCFLiveObjectCount(), before);

  int tag = 5;
  CFMutableDictionaryRef plain = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
  CFDictionarySetValue(plain, &tag, &tag);
  EXPECT_EQ(CFDictionaryGetValue(plain, &tag), &tag);
  CFRelease(plain);
}

TEST(CFNumbers, ReportLossyConversions) {
  double rate = 29.97;
  CFNumberRef n = CFNumberCreate(nullptr, kCFNumberFloat64Type, &rate);
  SInt32 whole = 0;
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &whole));
  EXPECT_EQ(whole, 29);
  CFRelease(n);
  SInt64 big = SInt64(1) << 40;
  n = CFNumberCreate(nullptr, kCFNumberSInt64Type, &big);
  SInt32 narrow = 0;
  EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &narrow));
  SInt64 wide = 0;
  EXPECT_TRUE(CFNumberGetValue(n, kCFNumberSInt64Type, &wide));
  EXPECT_EQ(wide, big);
  CFRelease(n);
}

TEST(CFURLs, RoundTripPosixPaths) {
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp/Host.app/"), kCFURLPOSIXPathStyle, true);
  CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  EXPECT_STREQ(CFStringGetCStringPtr(path, kCFStringEncodingUTF8), "/tmp/Host.app");
  CFRelease(path);
  CFRelease(url);
}

TEST(CFBundles, RegisteredBundlesAreFoundByIdentifier) {
  CFBundleRef bundle = VqtCFBundleRegister("/Applications/Example.app", "org.example.registered");
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.registered")), bundle);
  CFArrayRef all = CFBundleGetAllBundles();
  bool listed = false;
  for (CFIndex i = 0; i < CFArrayGetCount(all); ++i) listed |= CFArrayGetValueAtIndex(all, i) == bundle;
  EXPECT_TRUE(listed);
  CFURLRef resources = CFBundleCopyResourcesDirectoryURL(bundle);
  CFStringRef path = CFURLCopyFileSystemPath(resources, kCFURLPOSIXPathStyle);
  EXPECT_STREQ(CFStringGetCStringPtr(path, kCFStringEncodingUTF8), "/Applications/Example.app/Contents/Resources");
  CFRelease(path);
  CFRelease(resources);
}
