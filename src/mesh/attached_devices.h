// The attached-device table of the collection record: every client device attached
// now and, with the Fing engine installed, every known device that is offline.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

struct Daemon;

inline constexpr int kMaxAttachedDevices = 128;

// A NUL-terminated text in a fixed buffer of N bytes: at most N - 1 characters; a
// longer value is cut. For the short texts of the record (counts, flags).
template <size_t N>
class FixedText {
  public:
    static constexpr size_t kCapacity = N - 1;

    FixedText() = default;
    FixedText(std::string_view v) { assign(v); }  // NOLINT: reads as the text it holds
    FixedText& operator=(std::string_view v) {
        assign(v);
        return *this;
    }
    void assign(std::string_view v) {
        v = v.substr(0, v.find('\0'));  // a C string ends at its first NUL
        size_t n = v.size() < kCapacity ? v.size() : kCapacity;
        std::memcpy(data_, v.data(), n);
        data_[n] = '\0';
    }
    void clear() { data_[0] = '\0'; }

    const char* c_str() const { return data_; }
    std::string_view view() const { return {data_, std::strlen(data_)}; }
    operator std::string_view() const { return view(); }  // NOLINT
    std::string str() const { return std::string(view()); }
    bool empty() const { return data_[0] == '\0'; }
    size_t size() const { return std::strlen(data_); }

    friend bool operator==(const FixedText& a, std::string_view b) { return a.view() == b; }
    friend std::ostream& operator<<(std::ostream& os, const FixedText& t) { return os << t.view(); }

  private:
    char data_[N] = {};
};

// A text of at most N - 1 characters (a longer value is cut, as in a char[N] field),
// held in a block exactly as long as the text; an empty text holds nothing. A device
// entry has thirty-odd of these, most of them short or empty, so the table costs what
// its devices say rather than 128 times the largest entry.
template <size_t N>
class BoundedText {
  public:
    static constexpr size_t kCapacity = N - 1;

    BoundedText() = default;
    BoundedText(std::string_view v) { assign(v); }  // NOLINT: reads as the text it holds
    BoundedText(const BoundedText& o) { assign(o.view()); }
    BoundedText(BoundedText&&) noexcept = default;
    BoundedText& operator=(const BoundedText& o) {
        if (this != &o) assign(o.view());
        return *this;
    }
    BoundedText& operator=(BoundedText&&) noexcept = default;
    BoundedText& operator=(std::string_view v) {
        assign(v);
        return *this;
    }
    void assign(std::string_view v) {
        v = v.substr(0, v.find('\0'));  // a C string ends at its first NUL
        size_t n = v.size() < kCapacity ? v.size() : kCapacity;
        if (n == 0) {
            data_.reset();
            return;
        }
        // Copied before the old block is released: `v` may point into it.
        auto block = std::make_unique_for_overwrite<char[]>(n + 1);
        std::memcpy(block.get(), v.data(), n);
        block[n] = '\0';
        data_ = std::move(block);
    }
    void clear() { data_.reset(); }

    const char* c_str() const { return data_ ? data_.get() : ""; }
    std::string_view view() const { return c_str(); }
    operator std::string_view() const { return view(); }  // NOLINT
    std::string str() const { return std::string(view()); }
    bool empty() const { return !data_; }
    size_t size() const { return view().size(); }

    friend bool operator==(const BoundedText& a, std::string_view b) { return a.view() == b; }
    friend std::ostream& operator<<(std::ostream& os, const BoundedText& t) {
        return os << t.view();
    }

  private:
    std::unique_ptr<char[]> data_;
};

using Text64 = BoundedText<64>;
using Text256 = BoundedText<256>;

// One device. Member comments name the report member each field becomes.
struct AttachDevEntry {
    Text64 conntype;                // connType: the `connection` option as read
    Text64 name;                    // deviceName
    Text64 model;                   // deviceModel
    Text64 devtype;                 // deviceType
    Text64 ipaddr;                  // ipAddress
    Text64 macaddr;                 // macAddress: "AA:BB:CC:DD:EE:FF"
    Text64 signal;                  // signalStrength: "0", "-<n>" or ""
    Text64 access;                  // allowOrBlock: "allow", "block" or ""
    Text64 connectedVyro;           // connectedVyro: the node the device is attached to
    Text64 connectedVyromac;        // connectedVyroMac
    Text64 connectedVyroModel;      // connectedVyroModel
    int devtypeid = 0;              // deviceTypeID
    double speed = 0;               // linkspeed, Mbps
    int name_user_defined = 0;      // deviceNameUserDefined
    Text64 name_auto_detect;        // deviceNameAutoDetect
    int model_user_defined = 0;     // deviceModelUserDefined
    Text64 model_auto_detect;       // deviceModelAutoDetect
    int type_user_defined = 0;      // deviceTypeUserDefined
    Text64 type_auto_detect;        // deviceTypeAutoDetect
    Text64 deviceVendorAutoDetect;  // deviceVendorAutoDetect
    Text64 conn_status;             // connStatus: "Online", "Offline" or ""
    Text256 type_v2;                // deviceTypeV2
    Text256 type_v2_user_defined;   // deviceTypeV2UserDefined: "true" / "false"
    Text256 type_v2_auto_detect;    // deviceTypeV2AutoDetect
    Text64 type_v2_index;           // deviceTypeV2ID (decimal text)
    Text256 brand;                  // deviceBrandAutoDetect
    Text256 mac_vendor;             // deviceMacVendorAutoDetect
    Text256 os_name;                // deviceOSNameAutoDetect
    Text256 os_version;             // deviceOSVerAutoDetect
    Text256 detect_engine;          // detectEngine: "Fing" or ""
    Text256 fing_type;              // fingDetectedType
    Text256 fing_model;             // fingDetectedModel
    Text256 dhcp_fingerprint;       // dhcpFingerPrint
    Text256 user_agent;             // userAgent
};

struct AttachedDevices {
    std::array<AttachDevEntry, kMaxAttachedDevices> entries{};
    int num_entry = 0;  // valid entries: online first, then offline
    FixedText<16> attached_wired;
    FixedText<16> attached_wireless;  // 2.4 GHz + 5 GHz; 6 GHz is not part of it
    FixedText<16> attached_2g;
    FixedText<16> attached_5g;
    FixedText<16> attached_6g;
    // Set by the main loop each pass: 1 when /usr/bin/fing_dil exists, so the Fing
    // identification engine names the devices and the offline ones are listed.
    int fing_present = 0;
};

// Fills the attached-device table of the collection record for this pass; 0 always.
int get_attach_dev(Daemon& d);

class DeviceUci;
// Reads the live list of attached devices ("devices.lists.mac" of /tmp, at most 4095
// characters: MACs as 12 hex digits separated by blanks) into `out`. On failure writes
// the message to standard error, leaves `out` as it was and returns -1.
int get_attach_mac_list(DeviceUci& uci, std::string& out);
