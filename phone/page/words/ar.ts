import { en, type Words } from "./en.js";
export const ar: Words = en;
