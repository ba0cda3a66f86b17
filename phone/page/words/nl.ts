import { en, type Words } from "./en.js";
export const nl: Words = en;
