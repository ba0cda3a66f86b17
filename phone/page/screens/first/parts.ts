// The only door from the first view to what is loaded later. Of screens/later the first view knows types at most, or
// the budget of the first view is gone.

export const later = {
  details: async () => (await import("../later/details/Details.js")).Details,
  lastDay: async () => (await import("../later/lastDay/LastDay.js")).LastDay,
  alerts: async () => (await import("../later/alerts/Alerts.js")).Alerts,
  computers: async () => (await import("../later/computers/Computers.js")).Computers,
  add: async () => (await import("../later/add/Add.js")).Add,
  install: async () => (await import("../later/install/Install.js")).Install,
  push: async () => (await import("../later/push/PushOffer.js")).PushOffer,
  problem: async () => (await import("../later/problem/Problem.js")).ProblemPage,
  replaced: async () => (await import("../later/problem/Replaced.js")).Replaced,
} as const;
