// The Component Manager: find components by type, subtype, manufacturer and
// flags, read their names, information strings and public resources, and open
// and close instances. Our codecs are registered as image decompressors
// ('imdc') and compressors ('imco'); other modules and tests add their own.
#pragma once

#include <Carbon/MacTypes.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

typedef struct ComponentRecord* Component;
typedef struct ComponentInstanceRecord* ComponentInstance;
typedef SInt32 ComponentResult;

struct ComponentDescription {
  OSType componentType;          // 0 matches any type when searching
  OSType componentSubType;       // 0 matches any subtype
  OSType componentManufacturer;  // 0 matches any manufacturer
  UInt32 componentFlags;
  UInt32 componentFlagsMask;  // bits of componentFlags that must match
};

enum : UInt32 {
  cmpIsMissing = 1u << 29,  // registered, but its implementation is not available
  cmpWantsRegisterMessage = 1u << 31,
};

constexpr OSType kAnyComponentType = 0;
constexpr OSType kAnyComponentSubType = 0;
constexpr OSType kAnyComponentManufacturer = 0;
constexpr OSType decompressorComponentType = 'imdc';
constexpr OSType compressorComponentType = 'imco';
constexpr OSType kComponentPixelFormatsResource = 'cpix';  // OSType array, most preferred first

// Searching and describing.
Component FindNextComponent(Component aComponent, ComponentDescription* looking);
long CountComponents(ComponentDescription* looking);
// Fills any of the outputs that are not null; name and info arrive as Pascal strings
// in the handles, which are resized to fit. Accepts an open instance too.
OSErr GetComponentInfo(Component aComponent, ComponentDescription* cd, Handle componentName, Handle componentInfo,
                       Handle componentIcon);
// A new handle with the component's public resource; resNotFound when it has none.
OSErr GetComponentPublicResource(Component aComponent, OSType resourceType, short resourceID, Handle* theResource);
long GetComponentRefcon(Component aComponent);
void SetComponentRefcon(Component aComponent, long refcon);

// Instances.
OSErr OpenAComponent(Component aComponent, ComponentInstance* ci);
ComponentInstance OpenComponent(Component aComponent);
OSErr OpenADefaultComponent(OSType componentType, OSType componentSubType, ComponentInstance* ci);
ComponentInstance OpenDefaultComponent(OSType componentType, OSType componentSubType);
OSErr CloseComponent(ComponentInstance aComponentInstance);
// The component an instance was opened from; null for anything else.
Component GetComponentFromInstance(ComponentInstance aComponentInstance);
Handle GetComponentInstanceStorage(ComponentInstance aComponentInstance);
void SetComponentInstanceStorage(ComponentInstance aComponentInstance, Handle theStorage);
long CountComponentInstances(Component aComponent);

// Registration. QuickTime registers code resources; here a component is a
// description, texts, public resources and optional open/close hooks.
struct VqtComponentRegistration {
  ComponentDescription description{};  // componentFlags hold the component's flags
  std::string name;
  std::string information;
  std::vector<std::pair<std::pair<OSType, short>, std::vector<UInt8>>> publicResources;
  OSErr (*open)(ComponentInstance instance) = nullptr;  // refuses the open when not noErr
  void (*close)(ComponentInstance instance) = nullptr;
  long refcon = 0;
};

// Adds a component after those already registered; null when the description is empty.
Component VqtRegisterComponent(const VqtComponentRegistration& registration);
// Removes a component from searches. Open instances stay usable until closed.
OSErr UnregisterComponent(Component aComponent);
// A 'cpix' resource body from a list of pixel formats (host-order OSTypes).
std::vector<UInt8> VqtPixelFormatResource(const std::vector<OSType>& formats);
