import { en, type Words } from "./en.js";
export const uk: Words = en;
