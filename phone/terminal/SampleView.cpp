#include "phone/terminal/SampleView.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "phone/terminal/ConnectionsView.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/Quantity.h"
#include "phone/terminal/Readings.h"
#include "phone/terminal/ViewPage.h"

namespace orvik {

namespace {

using Items = std::vector<std::string>;
using std::chrono::minutes;

constexpr std::size_t shownProcesses = 8;

/// Adds "prefix 41.3 unit" when there is such a number.
void append(Items& items, std::optional<double> number, int places, const char* unit,
            const char* prefix = "") {
  if (number) {
    items.push_back(prefix + decimal(*number, places) + unit);
  }
}

/// A reading of which the computer sends zero when it has none: no running machine has 0 °C, 0 MHz
/// or 0 W.
template <typename Number>
std::optional<Number> positive(std::optional<Number> number) {
  return number && *number > 0 ? number : std::nullopt;
}

/// A reading that is more than nothing in as many places as are shown: none that idles is listed.
std::optional<double> noticeable(std::optional<double> number, int places) {
  return number && decimal(std::abs(*number), places) != decimal(0, places) ? number : std::nullopt;
}

/// A percentage with a bar before it where the page has room for one.
void appendShare(Items& items, std::optional<double> percent, int places, const ViewPage& page) {
  constexpr int barColumns = 20;
  if (percent) {
    const bool hasRoom = page.bodyWidth() >= 2 * barColumns;
    items.push_back((hasRoom ? bar(*percent, barColumns) + " " : std::string()) +
                    decimal(*percent, places) + " %");
  }
}

std::optional<std::string> loadText(const Readings& sample) {
  std::string text;
  for (const UntypedValue& average : sample.list("load")) {
    const auto number = Readings::numberOf(average);
    if (!number) {
      return std::nullopt;
    }
    text += (text.empty() ? "" : " ") + decimal(*number, 2);
  }
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::string> uptimeText(const Readings& sample) {
  // An integral zero says that the time of the start is not known.
  const auto hours = sample.number("uptime_h");
  if (!hours || *hours < 0 || sample.integer("uptime_h") == 0) {
    return std::nullopt;
  }
  constexpr double perDay = 24;
  // It has tenths of an hour, no minutes.
  if (*hours < perDay) {
    return noticeable(hours, 1) ? std::optional(decimal(*hours, 1) + " h") : std::nullopt;
  }
  return durationText(minutes(static_cast<std::int64_t>(*hours * 60)));
}

void addTitle(const MacState& state, ViewPage& page) {
  std::string body = " · " + description(state.connection);
  if (const auto time = Readings(&state.sample).text("ts")) {
    body += " · " + *time;
  }
  if (state.unreadable > 0) {
    body += " · " + std::to_string(state.unreadable) + " unreadable";
  }
  const bool trouble = state.connection.phase == ConnectionState::Phase::macOffline ||
                       state.connection.phase == ConnectionState::Phase::waiting;
  page.line({state.name.empty() ? "Computer" : state.name, body, trouble});
}

void addAlerts(const AlertLog& alerts, const Readings& sample, ViewPage& page) {
  std::vector<std::pair<std::string, bool>> lines;
  for (const AlertLog::Entry& alert : alerts.entries()) {
    lines.emplace_back(alert.text(sample.integer("epoch")), alert.isRaised);
  }
  page.rows("Alerts", lines);
}

void addCores(const Readings& info, const char* kind, const char* count, const char* frequency,
              Items& items) {
  const auto cores = positive(info.integer(count));
  if (!cores) {
    return;
  }
  const auto megahertz = positive(info.number(frequency));
  items.push_back(std::to_string(*cores) + kind +
                  (megahertz ? " at " + decimal(*megahertz / 1000, 2) + " GHz" : std::string()));
}

void addMachine(const Readings& info, ViewPage& page) {
  Items items;
  for (const char* key : {"product_name", "model_id", "chip"}) {
    if (const auto text = info.text(key)) {
      items.push_back(*text);
    }
  }
  addCores(info, " P cores", "p_cores", "p_max_mhz", items);
  addCores(info, " E cores", "e_cores", "e_max_mhz", items);
  append(items, positive(info.number("ram_gb")), 0, " GiB");
  if (const auto version = info.text("macos")) {
    const bool isNumber = version->front() >= '0' && version->front() <= '9';
    items.push_back((isNumber ? "macOS " : "") + *version);
  }
  page.group("Machine", items);
}

void addProcessors(const Readings& sample, ViewPage& page) {
  Items cpu;
  appendShare(cpu, sample.number("cpu_pct"), 1, page);
  append(cpu, positive(sample.number("temp_cpu")), 1, " °C");
  append(cpu, positive(sample.number("pcpu_mhz")), 0, " MHz", "P ");
  append(cpu, positive(sample.number("ecpu_mhz")), 0, " MHz", "E ");
  page.group("CPU", cpu);

  Items gpu;
  const auto percent = sample.number("gpu_pct");
  appendShare(gpu, percent, 1, page);
  if (sample.flag("gpu_off").value_or(false)) {
    gpu.emplace_back("off");
  } else {
    append(gpu, positive(sample.number("temp_gpu")), 1, " °C");
  }
  // Nothing but a zero is that of a machine whose graphics nobody can ask.
  if (gpu.size() > 1 || !percent || noticeable(percent, 1)) {
    page.group("GPU", gpu);
  }

  Items load;
  if (const auto averages = loadText(sample)) {
    load.push_back(*averages);
  }
  append(load, sample.number("load_now"), 1, "", "now ");
  page.group("Load", load);
}

void addMemory(const Readings& sample, ViewPage& page) {
  Items items;
  if (const auto total = positive(sample.number("ram_total_gb"))) {
    appendShare(items, sample.number("ram_pct"), 1, page);
    if (const auto used = sample.number("ram_used_gb")) {
      items.push_back(decimal(*used, 1) + " of " + decimal(*total, 1) + " GiB");
    }
    append(items, noticeable(sample.number("swap_gb"), 2), 2, " GiB", "swap ");
  }
  page.group("Memory", items);
}

void addPower(const Readings& sample, ViewPage& page) {
  Items items;
  append(items, positive(sample.number("power_w")), 2, " W");
  if (!items.empty()) {
    append(items, noticeable(sample.number("cpu_power_w"), 2), 2, " W", "CPU ");
    append(items, noticeable(sample.number("gpu_power_w"), 2), 2, " W", "GPU ");
  }
  append(items, positive(sample.number("sys_power_w")), 2, " W", "system ");
  page.group("Power", items);
}

/// The time that the battery still takes, to its end or to its charge.
std::optional<std::string> batteryTime(const Readings& sample) {
  const bool charging = sample.text("battery_state") == "charging";
  if (const auto left = positive(sample.integer("battery_min"))) {
    return durationText(minutes(*left)) + (charging ? " to full" : " left");
  }
  const auto estimate = positive(sample.integer("battery_est_min"));
  if (estimate && sample.flag("on_ac") == false) {
    return "about " + durationText(minutes(*estimate)) + " left";
  }
  return std::nullopt;
}

void addBattery(const Readings& sample, ViewPage& page) {
  const auto charge = sample.integer("battery_pct");
  Items items;
  if (charge) {
    appendShare(items, static_cast<double>(*charge), 0, page);
    if (const auto state = sample.text("battery_state")) {
      items.push_back(*state);
    }
    if (const auto time = batteryTime(sample)) {
      items.push_back(*time);
    }
  }
  if (const auto onMains = sample.flag("on_ac")) {
    items.emplace_back(*onMains ? "on mains" : "on battery");
  }
  if (const auto condition = sample.text("battery_condition")) {
    items.push_back("condition " + *condition);
  }
  if (const auto capacity = positive(sample.integer("battery_max_capacity_pct"))) {
    items.push_back("capacity " + std::to_string(*capacity) + " %");
  }
  if (const auto cycles = sample.integer("battery_cycles")) {
    const auto design = positive(sample.integer("battery_design_cycles"));
    items.push_back(std::to_string(*cycles) + (design ? " of " + std::to_string(*design) : "") +
                    " cycles");
  }
  page.group("Battery", items);
}

void addDisk(const Readings& sample, ViewPage& page) {
  Items disk;
  appendShare(disk, sample.number("disk_pct"), 1, page);
  if (const auto free = sample.integer("disk_free_gb")) {
    disk.push_back(std::to_string(*free) + " GB free");
  }
  page.group("Disk", disk);

  Items backup;
  const auto last = sample.integer("tm_last_backup");
  const auto now = sample.integer("epoch");
  // Both are times since 1970, so that the difference cannot overflow.
  if (last && now && *last > 0 && *now >= *last) {
    backup.push_back(durationText(minutes((*now - *last) / 60)) + " ago");
  }
  if (sample.flag("tm_running").value_or(false)) {
    backup.emplace_back("running now");
  }
  const auto connected = sample.flag("tm_disk_connected");
  const std::string name = sample.text("tm_disk_name").value_or("disk");
  if (connected) {
    backup.push_back(name + (*connected ? " connected" : " not connected"));
  }
  page.group("Backup", backup);
}

void addProcesses(const Readings& sample, ViewPage& page) {
  Items items;
  for (const UntypedValue& entry : sample.list("procs")) {
    const auto* process = entry.get<UntypedValue::List>();
    if (process == nullptr || process->size() != 2 || items.size() == shownProcesses) {
      continue;
    }
    const auto percent = noticeable(Readings::numberOf(process->front()), 1);
    const auto name = Readings::textOf(process->back());
    if (percent && name) {
      items.push_back(*name + " " + decimal(*percent, 1) + " %");
    }
  }
  page.group("Top", items);
}

void addCurves(const MinuteCurves& curves, ViewPage& page) {
  struct Row {
    MinuteCurves::Curve curve;
    const char* name;
    int places;
    const char* unit;
    bool fromZero;
  };
  constexpr std::array rows = {Row{MinuteCurves::Curve::cpu, "CPU   ", 1, " %", true},
                               Row{MinuteCurves::Curve::temperature, "Temp  ", 1, " °C", false},
                               Row{MinuteCurves::Curve::power, "Power ", 2, " W", true}};
  // Beside the curve stand its name and its range: "Power ", " 102.25–140.75 W".
  constexpr int besides = 6 + 17;
  const auto columns = static_cast<std::size_t>(std::max(page.bodyWidth() - besides, 0));
  Items lines;
  for (const Row& row : rows) {
    const auto range = curves.range(row.curve);
    if (range && noticeable(range->second, row.places)) {
      const auto [low, high] = *range;
      const auto steps = curves.steps(row.curve, columns);
      lines.push_back(row.name + sparkline(steps, row.fromZero ? 0 : low, high) + " " +
                      decimal(low, row.places) + "–" + decimal(high, row.places) + row.unit);
    }
  }
  // One minute is no curve yet.
  if (!lines.empty() && curves.span() > minutes(1)) {
    lines.push_back("over " + durationText(curves.span()));
    page.rows("History", lines);
  }
}

}  // namespace

std::vector<ViewLine> sampleView(const MacState& state, int width) {
  ViewPage page(width);
  const Readings sample(&state.sample);
  addTitle(state, page);
  const std::size_t titleLines = page.lines.size();
  addAlerts(state.alerts, sample, page);
  addMachine(Readings(&state.macInfo), page);
  addProcessors(sample, page);
  addMemory(sample, page);
  addPower(sample, page);
  addBattery(sample, page);
  addDisk(sample, page);
  if (const auto uptime = uptimeText(sample)) {
    page.group("Uptime", {*uptime});
  }
  addProcesses(sample, page);
  addCurves(state.curves, page);
  addConnections(sample.member("connections"), page);
  if (const auto error = sample.text("error")) {
    page.group("Sensors", {"not available: " + *error});
  }
  if (state.connection.phase != ConnectionState::Phase::live) {
    for (std::size_t i = titleLines; i < page.lines.size(); ++i) {
      page.lines[i].isOld = true;
    }
  }
  return page.lines;
}

std::string sampleSummary(const MacState& state) {
  const Readings sample(&state.sample);
  Items items = {sample.text("ts").value_or("--:--:--"), description(state.connection)};
  append(items, sample.number("cpu_pct"), 1, " %", "CPU ");
  append(items, positive(sample.number("temp_cpu")), 1, " °C");
  append(items, positive(sample.number("power_w")), 2, " W");
  if (const auto load = loadText(sample)) {
    items.push_back("load " + *load);
  }
  if (positive(sample.number("ram_total_gb"))) {
    append(items, sample.number("ram_pct"), 1, " %", "memory ");
  }
  if (const auto charge = sample.integer("battery_pct")) {
    items.push_back("battery " + std::to_string(*charge) + " %");
  }
  append(items, sample.number("disk_pct"), 1, " %", "disk ");
  if (const auto uptime = uptimeText(sample)) {
    items.push_back("up " + *uptime);
  }
  std::string text;
  for (const std::string& item : items) {
    text += (text.empty() ? "" : "  ") + item;
  }
  return text;
}

}  // namespace orvik
