import { en, type Words } from "./en.js";
export const pl: Words = en;
