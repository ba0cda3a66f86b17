import { en, type Words } from "./en.js";
export const zhHans: Words = en;
