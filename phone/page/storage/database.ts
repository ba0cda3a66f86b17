import type { Written } from "./storage.js";

const stores = ["computers", "kept", "settings"] as const;
export type Store = (typeof stores)[number];

/** Longer than a disk takes while somebody waits for it; Safari has been seen never to answer. */
const openLimitMs = 3_000;

/** The page's database. Opened once; where that fails, every answer says so. */
export class Database {
  private readonly opened: Promise<IDBDatabase | undefined>;

  /** `limitMs`: after which it counts as one that cannot be opened. */
  constructor(limitMs = openLimitMs) {
    this.opened = open("orvik", limitMs);
  }

  async get(store: Store, key: string): Promise<unknown> {
    return this.read<unknown>(store, (objects) => objects.get(key));
  }

  /** Every value of a store; empty when there is none or it cannot be read. */
  async all(store: Store): Promise<readonly unknown[]> {
    return (await this.read<unknown[]>(store, (objects) => objects.getAll())) ?? [];
  }

  async put(store: Store, key: string, value: unknown): Promise<Written> {
    return this.write([store], (objects) => { objects(store).put(value, key); });
  }

  /** Removes the keys of both stores at once, or none. */
  async remove(keys: readonly (readonly [Store, string])[]): Promise<Written> {
    return this.write(stores, (objects) => { for (const [store, key] of keys) objects(store).delete(key); });
  }

  /** Adds a value unless the key is there; answers what is there afterwards. */
  async getOrAdd(store: Store, key: string, value: unknown): Promise<unknown> {
    await this.write([store], (objects) => {
      const present = objects(store).get(key);
      present.onsuccess = () => { if (present.result === undefined) objects(store).put(value, key); };
    });
    return this.get(store, key);
  }

  /** Puts what `change` makes of the present value; nobody else changes it meanwhile. */
  async change(store: Store, key: string, change: (present: unknown) => unknown): Promise<Written> {
    return this.write([store], (objects) => {
      const present = objects(store).get(key);
      present.onsuccess = () => { objects(store).put(change(present.result), key); };
    });
  }

  private async read<Result>(
    store: Store, ask: (objects: IDBObjectStore) => IDBRequest<Result>,
  ): Promise<Result | undefined> {
    const database = await this.opened;
    if (database === undefined) return undefined;
    return new Promise((resolve) => {
      try {
        const request = ask(database.transaction(store).objectStore(store));
        request.onsuccess = () => { resolve(request.result); };
        request.onerror = () => { resolve(undefined); };
      } catch {
        resolve(undefined);
      }
    });
  }

  private async write(
    names: readonly Store[], change: (objects: (store: Store) => IDBObjectStore) => void,
  ): Promise<Written> {
    const database = await this.opened;
    if (database === undefined) return "blocked";
    return new Promise((resolve) => {
      try {
        const transaction = database.transaction(names, "readwrite");
        transaction.oncomplete = () => { resolve("written"); };
        transaction.onabort = () => {
          resolve(transaction.error?.name === "QuotaExceededError" ? "full" : "blocked");
        };
        change((store) => transaction.objectStore(store));
      } catch {
        // Among others the DataCloneError of browsers that keep no keys in private windows.
        resolve("blocked");
      }
    });
  }
}

function open(name: string, limitMs: number): Promise<IDBDatabase | undefined> {
  return new Promise((resolve) => {
    const timer = setTimeout(() => { resolve(undefined); }, limitMs);
    const answer = (database: IDBDatabase | undefined) => {
      clearTimeout(timer);
      resolve(database);
    };
    try {
      const request = indexedDB.open(name, 1);
      request.onupgradeneeded = () => { for (const store of stores) request.result.createObjectStore(store); };
      request.onsuccess = () => {
        // Another tab with a newer version must not wait for this one.
        request.result.onversionchange = () => { request.result.close(); };
        answer(request.result);
      };
      request.onerror = () => { answer(undefined); };
      request.onblocked = () => { answer(undefined); };
    } catch {
      answer(undefined);
    }
  });
}
