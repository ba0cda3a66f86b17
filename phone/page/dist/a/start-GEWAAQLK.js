import{v as a,w as b,x as c,y as d}from"./chunk-SFWTUZDG.js";import"./chunk-AOX2FM6N.js";import"./chunk-6ATBPRIA.js";export{c as clearAddress,a as language,d as opening,b as words};
