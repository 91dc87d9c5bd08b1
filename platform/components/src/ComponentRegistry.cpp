#include <Carbon/Components.h>
#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

#include "CodecComponents.h"

struct ComponentRecord {
  VqtComponentRegistration registration;
  bool registered = true;
  long instances = 0;
};

struct ComponentInstanceRecord {
  ComponentRecord* component = nullptr;
  Handle storage = nullptr;
};

namespace {

// Every component ever registered stays allocated, so a stale Component value
// is recognised (unregistered) rather than read after being freed.
class Registry {
 public:
  Registry() {
    for (VqtComponentRegistration& r : vqtCodecComponentRegistrations()) add(std::move(r));
  }

  std::mutex mutex;

  Component add(VqtComponentRegistration r) {
    components_.push_back(std::make_unique<ComponentRecord>());
    components_.back()->registration = std::move(r);
    return components_.back().get();
  }
  // A registered component, or the component of an open instance.
  ComponentRecord* resolve(const void* pointer) {
    for (auto& c : components_) {
      if (c.get() == pointer) return c->registered ? c.get() : nullptr;
    }
    if (ComponentInstanceRecord* instance = findInstance(pointer)) return instance->component;
    return nullptr;
  }
  ComponentInstanceRecord* findInstance(const void* pointer) {
    for (auto& i : instances_) {
      if (i.get() == pointer) return i.get();
    }
    return nullptr;
  }
  Component next(Component after, const ComponentDescription& looking) {
    auto it = components_.begin();
    if (after != nullptr) {
      it = std::find_if(components_.begin(), components_.end(), [&](auto& c) { return c.get() == after; });
      if (it == components_.end()) return nullptr;
      ++it;
    }
    for (; it != components_.end(); ++it) {
      if ((*it)->registered && matches((*it)->registration.description, looking)) return it->get();
    }
    return nullptr;
  }
  ComponentInstanceRecord* open(ComponentRecord* component) {
    instances_.push_back(std::make_unique<ComponentInstanceRecord>());
    instances_.back()->component = component;
    ++component->instances;
    return instances_.back().get();
  }
  void close(ComponentInstanceRecord* instance) {
    --instance->component->instances;
    std::erase_if(instances_, [&](auto& i) { return i.get() == instance; });
  }

 private:
  static bool matches(const ComponentDescription& c, const ComponentDescription& looking) {
    if (looking.componentType != 0 && looking.componentType != c.componentType) return false;
    if (looking.componentSubType != 0 && looking.componentSubType != c.componentSubType) return false;
    if (looking.componentManufacturer != 0 && looking.componentManufacturer != c.componentManufacturer) return false;
    const UInt32 mask = looking.componentFlagsMask;
    return (c.componentFlags & mask) == (looking.componentFlags & mask);
  }

  std::vector<std::unique_ptr<ComponentRecord>> components_;
  std::vector<std::unique_ptr<ComponentInstanceRecord>> instances_;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

OSErr setPascalString(Handle handle, const std::string& text) {
  const std::size_t length = std::min<std::size_t>(text.size(), 255);
  SetHandleSize(handle, static_cast<Size>(length + 1));
  if (MemError() != noErr) return MemError();
  (*handle)[0] = static_cast<char>(length);
  std::memcpy(*handle + 1, text.data(), length);
  return noErr;
}

}  // namespace

Component FindNextComponent(Component aComponent, ComponentDescription* looking) {
  if (looking == nullptr) return nullptr;
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  return r.next(aComponent, *looking);
}

long CountComponents(ComponentDescription* looking) {
  long count = 0;
  for (Component c = FindNextComponent(nullptr, looking); c != nullptr; c = FindNextComponent(c, looking)) ++count;
  return count;
}

OSErr GetComponentInfo(Component aComponent, ComponentDescription* cd, Handle componentName, Handle componentInfo,
                       Handle /*componentIcon*/) {
  Registry& r = registry();
  VqtComponentRegistration copy;
  {
    std::lock_guard lock(r.mutex);
    ComponentRecord* component = r.resolve(aComponent);
    if (component == nullptr) return invalidComponentID;
    copy = component->registration;
  }
  if (cd != nullptr) {
    *cd = copy.description;
    cd->componentFlagsMask = 0;
  }
  if (componentName != nullptr) {
    if (OSErr err = setPascalString(componentName, copy.name); err != noErr) return err;
  }
  if (componentInfo != nullptr) {
    if (OSErr err = setPascalString(componentInfo, copy.information); err != noErr) return err;
  }
  return noErr;
}

OSErr GetComponentPublicResource(Component aComponent, OSType resourceType, short resourceID, Handle* theResource) {
  if (theResource == nullptr) return paramErr;
  *theResource = nullptr;
  Registry& r = registry();
  std::vector<UInt8> bytes;
  {
    std::lock_guard lock(r.mutex);
    ComponentRecord* component = r.resolve(aComponent);
    if (component == nullptr) return invalidComponentID;
    const auto& resources = component->registration.publicResources;
    const auto found = std::find_if(resources.begin(), resources.end(), [&](const auto& entry) {
      return entry.first == std::pair{resourceType, resourceID};
    });
    if (found == resources.end()) return resNotFound;
    bytes = found->second;
  }
  Handle handle = NewHandle(static_cast<Size>(bytes.size()));
  if (handle == nullptr) return memFullErr;
  if (!bytes.empty()) std::memcpy(*handle, bytes.data(), bytes.size());
  *theResource = handle;
  return noErr;
}

long GetComponentRefcon(Component aComponent) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  ComponentRecord* component = r.resolve(aComponent);
  return component ? component->registration.refcon : 0;
}

void SetComponentRefcon(Component aComponent, long refcon) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (ComponentRecord* component = r.resolve(aComponent)) component->registration.refcon = refcon;
}

OSErr OpenAComponent(Component aComponent, ComponentInstance* ci) {
  if (ci == nullptr) return paramErr;
  *ci = nullptr;
  Registry& r = registry();
  ComponentInstanceRecord* instance = nullptr;
  OSErr (*openHook)(ComponentInstance) = nullptr;
  {
    std::lock_guard lock(r.mutex);
    ComponentRecord* component = r.resolve(aComponent);
    if (component == nullptr) return invalidComponentID;
    if (component->registration.description.componentFlags & cmpIsMissing) return invalidComponentID;
    instance = r.open(component);
    openHook = component->registration.open;
  }
  // Hooks run without the lock: they may call the Component Manager themselves.
  if (openHook != nullptr) {
    if (OSErr err = openHook(instance); err != noErr) {
      std::lock_guard lock(r.mutex);
      r.close(instance);
      return err;
    }
  }
  *ci = instance;
  return noErr;
}

ComponentInstance OpenComponent(Component aComponent) {
  ComponentInstance instance = nullptr;
  OpenAComponent(aComponent, &instance);
  return instance;
}

OSErr OpenADefaultComponent(OSType componentType, OSType componentSubType, ComponentInstance* ci) {
  if (ci == nullptr) return paramErr;
  *ci = nullptr;
  ComponentDescription looking{componentType, componentSubType, 0, 0, cmpIsMissing};
  Component component = FindNextComponent(nullptr, &looking);
  if (component == nullptr) return badComponentType;
  return OpenAComponent(component, ci);
}

ComponentInstance OpenDefaultComponent(OSType componentType, OSType componentSubType) {
  ComponentInstance instance = nullptr;
  OpenADefaultComponent(componentType, componentSubType, &instance);
  return instance;
}

OSErr CloseComponent(ComponentInstance aComponentInstance) {
  Registry& r = registry();
  void (*closeHook)(ComponentInstance) = nullptr;
  {
    std::lock_guard lock(r.mutex);
    ComponentInstanceRecord* instance = r.findInstance(aComponentInstance);
    if (instance == nullptr) return static_cast<OSErr>(invalidComponentID);
    closeHook = instance->component->registration.close;
  }
  if (closeHook != nullptr) closeHook(aComponentInstance);
  std::lock_guard lock(r.mutex);
  if (ComponentInstanceRecord* instance = r.findInstance(aComponentInstance)) r.close(instance);
  return noErr;
}

Component GetComponentFromInstance(ComponentInstance aComponentInstance) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  ComponentInstanceRecord* instance = r.findInstance(aComponentInstance);
  return instance ? instance->component : nullptr;
}

Handle GetComponentInstanceStorage(ComponentInstance aComponentInstance) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  ComponentInstanceRecord* instance = r.findInstance(aComponentInstance);
  return instance ? instance->storage : nullptr;
}

void SetComponentInstanceStorage(ComponentInstance aComponentInstance, Handle theStorage) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (ComponentInstanceRecord* instance = r.findInstance(aComponentInstance)) instance->storage = theStorage;
}

long CountComponentInstances(Component aComponent) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  ComponentRecord* component = r.resolve(aComponent);
  return component ? component->instances : 0;
}

Component VqtRegisterComponent(const VqtComponentRegistration& registration) {
  const ComponentDescription& d = registration.description;
  if (d.componentType == 0 && d.componentSubType == 0 && d.componentManufacturer == 0) return nullptr;
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  return r.add(registration);
}

OSErr UnregisterComponent(Component aComponent) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  ComponentRecord* component = r.resolve(aComponent);
  if (component == nullptr || component != aComponent) return invalidComponentID;
  component->registered = false;
  return noErr;
}

std::vector<UInt8> VqtPixelFormatResource(const std::vector<OSType>& formats) {
  std::vector<UInt8> bytes(formats.size() * sizeof(OSType));
  if (!formats.empty()) std::memcpy(bytes.data(), formats.data(), bytes.size());
  return bytes;
}
