// Small samplers of the collection pass: CPU load, uptime text, NetUSB, OpenVPN.
#pragma once

#include <string>

// Overall CPU load in percent (two decimals) from mpstat; `out` is left alone when
// mpstat gave no idle figure.
void get_cpu_load(double& out);
// "<d> days HH:MM:SS" since boot.
void get_uptime_text(std::string& dest);
// 1 when a device served by the KC NetUSB driver is attached, else 0.
int get_netusb_present();
// Connected VPN clients with the maker's client certificates, counted over the TAP and
// then the TUN status log. The caller asks only when nvram openvpnActive is "enable".
int get_openvpn_clients();
