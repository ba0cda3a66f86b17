import{a as o}from"./chunk-AOX2FM6N.js";import"./chunk-6ATBPRIA.js";var t=o;export{t as tr};
