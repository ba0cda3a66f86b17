import { en, type Words } from "./en.js";
export const hi: Words = en;
