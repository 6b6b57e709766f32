// Small samplers of the collection pass: CPU load, uptime text, NetUSB, OpenVPN.
#pragma once

#include <string>

struct Daemon;

double get_cpu_load();
std::string get_uptime_text();
int get_netusb_present();
int get_openvpn_clients(Daemon& d);
