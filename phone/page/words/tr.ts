import { en, type Words } from "./en.js";
export const tr: Words = en;
