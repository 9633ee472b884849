// What the tests ask the page for.
declare function getApp(): any;
